// Captures what a piece of code prints, also through stdio and raw descriptors.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>

inline std::string CaptureStderr(const std::function<void()>& body) {
    testing::internal::CaptureStderr();
    body();
    return testing::internal::GetCapturedStderr();
}

inline std::string CaptureStdout(const std::function<void()>& body) {
    testing::internal::CaptureStdout();
    body();
    return testing::internal::GetCapturedStdout();
}

// An address as messages show it.
inline std::string Address(const void* p) {
    std::ostringstream text;
    text << p;
    return text.str();
}

// Every address of the text as "*".
inline std::string WithoutAddresses(const std::string& text) {
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const bool address = text.compare(at, 2, "0x") == 0;
        result += address ? '*' : text[at];
        at = address ? text.find_first_not_of("0123456789abcdef", at + 2) : at + 1;
    }
    return result;
}
