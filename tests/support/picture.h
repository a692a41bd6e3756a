#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

// The one way the tests look at pixels: a picture of 0xRRGGBB pixels, painted into through
// its device context, taken from what a window painted, or read from a 24-bit BMP file.
class Picture {
public:
    Picture(int width, int height);
    ~Picture();
    Picture(Picture&& other) noexcept;
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    static Picture OfWindow(HWND window);
    static Picture Load(const std::wstring& path);
    bool Save(const std::wstring& path) const;  // 24-bit, bottom-up, as viewers expect

    HDC Dc() const { return dc_; }
    int Width() const { return width_; }
    int Height() const { return height_; }
    // 0xFFFFFFFF outside the picture.
    std::uint32_t Pixel(int x, int y) const;
    int Count(std::uint32_t rgb) const;
    std::vector<std::uint32_t> Pixels() const;

private:
    int width_;
    int height_;
    HDC dc_;
    HBITMAP bitmap_;
    HGDIOBJ previous_;
    std::uint32_t* pixels_ = nullptr;
};
