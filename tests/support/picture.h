#pragma once

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// The one way the tests look at pixels: a picture of 0xRRGGBB pixels, painted through a
// device context, taken from what a window painted, or read from a 24-bit BMP file.
class Picture {
public:
    static Picture Painted(int width, int height, const std::function<void(HDC)>& paint);
    static Picture OfWindow(HWND window);
    static Picture Load(const std::wstring& path);
    bool Save(const std::wstring& path) const;  // 24-bit, bottom-up, as viewers expect

    // 0xFFFFFFFF outside the picture.
    std::uint32_t Pixel(int x, int y) const;
    // Row by row, from the top.
    const std::vector<std::uint32_t>& Pixels() const { return pixels_; }
    auto Count(std::uint32_t rgb) const { return std::count(pixels_.begin(), pixels_.end(), rgb); }

private:
    Picture(int width, int height)
        : width_(width), height_(height), pixels_(width > 0 && height > 0 ? width * height : 0) {}

    int width_;
    int height_;
    std::vector<std::uint32_t> pixels_;
};
