#pragma once

#include <gtest/gtest.h>

#include "ui/ui_drawing.h"

// GDI+ for the whole test program, as the windowed run starts it.
class GdiplusEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        Gdiplus::GdiplusStartupInput input;
        Gdiplus::GdiplusStartup(&token_, &input, nullptr);
    }
    void TearDown() override { Gdiplus::GdiplusShutdown(token_); }

private:
    ULONG_PTR token_ = 0;
};
