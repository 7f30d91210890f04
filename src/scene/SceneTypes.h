// Enumerations of the scene with the numbers that renderer and drivers receive. A parser that
// meets an unknown word stores the count of values, so every consumer must live with one more.
#pragma once

enum BlendFunc : int {
    BlendOpaque = 0,
    BlendReplace = 1,
    BlendAdd = 2,
    BlendBlend = 3,
    BlendMul = 4,
    BlendHaze = 5,
    BlendFilter = 6,
    BlendSubtract = 7,
    BlendCount = 8
};

enum RenderFunc : int {
    RenderSolid = 0,
    RenderWire = 1,
    RenderOutline = 2,
    RenderShadow = 3,
    RenderWireShadow = 4,
    RenderShell = 5,
    RenderCount = 6
};

// Alpha test.
enum TestFunc : int { TestAlways = 0, TestNever = 1, TestLess = 2, TestGreater = 3, TestCount = 4 };

// Faces drawn.
enum FaceSet : int { FacesFront = 0, FacesBack = 1, FacesAll = 2, FacesCount = 3 };

// +1 for front faces, -1 for back faces, 0 where both are drawn.
inline int FacingSign(int faces) {
    if (faces == FacesFront) return 1;
    return faces == FacesBack ? -1 : 0;
}

enum ShaderPass : int { PassBase = 0, PassLight = 1, PassShadow = 2, PassBlend = 3, PassCount = 4 };
