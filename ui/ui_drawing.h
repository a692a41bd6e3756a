#pragma once

#include <windows.h>
// GDI+ needs the min/max templates that NOMINMAX hides.
#include <algorithm>
namespace Gdiplus {
using std::max;
using std::min;
}  // namespace Gdiplus
#include <gdiplus.h>

#include <array>
#include <cstdint>
#include <string>

#include "setup/branding/branding.h"
#include "sys/unique_handle.h"

// The brand of this program's own version information, kBrandUnknown when it names none.
BrandId ActiveBrand();

// ARGB (alpha on top) to a GDI COLORREF: red and blue swap, alpha is dropped.
COLORREF ArgbToColorRef(std::uint32_t argb);

// A font for the dialogs: "Inter" when the screen has it, otherwise "Arial". Weight 0 is
// the default weight.
HFONT CreateUiFont(HDC dc, int points, int weight);

// One corner of a rounded box: the square its arc lies in and where the arc starts.
struct CornerArc {
    int x;
    int y;
    int size;
    float startAngle;
};

// The four corner arcs, clockwise from the top left, for a box (left, top, width, height).
std::array<CornerArc, 4> RoundedCorners(const Gdiplus::Rect& box);

// Builds the closed rounded outline of a box into path.
void BuildRoundedPath(Gdiplus::GraphicsPath& path, const Gdiplus::Rect& box);

// Draws a rounded box with a soft two-pixel edge; box is left moved and shrunk.
void DrawRoundedBox(Gdiplus::Graphics& graphics, Gdiplus::Rect& box, std::uint32_t borderColor,
                    std::uint32_t fillColor);

// The colours of one repaint of a rounded control; clear is ignored unless clearFirst.
struct RoundedLook {
    bool clearFirst;
    std::uint32_t clear;
    std::uint32_t border;
    std::uint32_t fill;
    std::uint32_t text;
};

// Paints a control as a rounded box with its window text as the caption.
void PaintRoundedControl(HDC dc, HWND control, const RoundedLook& look, BrandId brand, HFONT font);

// Draws a caption centred on one line over rect, in upper case for brand 2.
void DrawCaption(HDC dc, const RECT& rect, std::wstring caption, BrandId brand,
                 std::uint32_t textColor, HFONT font);

// A picture kept as PNG among the program's resources (RCDATA id), decoded by GDI+ into a
// bitmap GDI can draw; empty when it is missing or undecodable. GDI+ must be started.
UniqueBitmap LoadArtBitmap(unsigned id);
