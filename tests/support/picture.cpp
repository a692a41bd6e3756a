#include "tests/support/picture.h"

#include <filesystem>
#include <fstream>

Picture Picture::Painted(int width, int height, const std::function<void(HDC)>& paint) {
    Picture picture(width, height);
    BITMAPINFO info{};
    info.bmiHeader = {sizeof(BITMAPINFOHEADER), width, -height, 1, 32, BI_RGB};
    HDC dc = CreateCompatibleDC(nullptr);
    std::uint32_t* bits = nullptr;
    HBITMAP bitmap =
        CreateDIBSection(dc, &info, DIB_RGB_COLORS, reinterpret_cast<void**>(&bits), nullptr, 0);
    HGDIOBJ previous = SelectObject(dc, bitmap);
    paint(dc);
    GdiFlush();
    for (size_t i = 0; bits != nullptr && i < picture.pixels_.size(); ++i)
        picture.pixels_[i] = bits[i] & 0xFFFFFF;
    SelectObject(dc, previous);
    DeleteObject(bitmap);
    DeleteDC(dc);
    return picture;
}

Picture Picture::OfWindow(HWND window) {
    RECT area{};
    GetWindowRect(window, &area);
    const int width = area.right - area.left;
    const int height = area.bottom - area.top;
    // The window's own surface: what it painted, without whatever overlaps it on the screen.
    HDC source = GetWindowDC(window);
    Picture picture = Painted(
        width, height, [&](HDC dc) { BitBlt(dc, 0, 0, width, height, source, 0, 0, SRCCOPY); });
    ReleaseDC(window, source);
    return picture;
}

namespace {

int Stride(int width) {
    return ((width * 3 + 3) / 4) * 4;
}

}  // namespace

bool Picture::Save(const std::wstring& path) const {
    BITMAPINFOHEADER info{sizeof(BITMAPINFOHEADER), width_, height_, 1, 24, BI_RGB};
    std::vector<char> rows(static_cast<size_t>(Stride(width_)) * height_);
    for (int y = 0; y < height_; ++y) {
        char* row = &rows[static_cast<size_t>(height_ - 1 - y) * Stride(width_)];
        for (int x = 0; x < width_; ++x) {
            const std::uint32_t pixel = Pixel(x, y);
            row[x * 3] = static_cast<char>(pixel & 0xFF);
            row[x * 3 + 1] = static_cast<char>(pixel >> 8 & 0xFF);
            row[x * 3 + 2] = static_cast<char>(pixel >> 16 & 0xFF);
        }
    }
    BITMAPFILEHEADER header{0x4D42, 0, 0, 0, sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER)};
    header.bfSize = header.bfOffBits + static_cast<DWORD>(rows.size());
    std::ofstream file(std::filesystem::path(path), std::ios::binary);
    file.write(reinterpret_cast<const char*>(&header), sizeof(header));
    file.write(reinterpret_cast<const char*>(&info), sizeof(info));
    file.write(rows.data(), static_cast<std::streamsize>(rows.size()));
    return file.good();
}

Picture Picture::Load(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    BITMAPFILEHEADER header{};
    BITMAPINFOHEADER info{};
    file.read(reinterpret_cast<char*>(&header), sizeof(header));
    file.read(reinterpret_cast<char*>(&info), sizeof(info));
    Picture picture(info.biWidth, info.biHeight);
    std::vector<unsigned char> row(static_cast<size_t>(Stride(info.biWidth)));
    for (int y = info.biHeight - 1; y >= 0 && file; --y) {  // bottom-up rows
        file.read(reinterpret_cast<char*>(row.data()), static_cast<std::streamsize>(row.size()));
        for (int x = 0; x < info.biWidth; ++x) {
            picture.pixels_[y * info.biWidth + x] =
                row[x * 3 + 2] << 16 | row[x * 3 + 1] << 8 | row[x * 3];
        }
    }
    return picture;
}

std::uint32_t Picture::Pixel(int x, int y) const {
    if (x < 0 || y < 0 || x >= width_ || y >= height_ || pixels_.empty())
        return 0xFFFFFFFFu;
    return pixels_[y * width_ + x];
}
