// A rectangle of a window.
#pragma once

// In pixels; the origin is the window's top left corner.
struct Rectangle {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    void Get(int& left, int& top, int& across, int& down) const {
        left = x;
        top = y;
        across = width;
        down = height;
    }
};
