#include "ui/ui_drawing.h"

#include <cwctype>
#include <locale.h>

#include <shlwapi.h>

#include <memory>

#include "sys/unique_handle.h"

BrandId ActiveBrand() {
    static const BrandId brand = DetectBrand();
    return brand;
}

COLORREF ArgbToColorRef(std::uint32_t argb) {
    return RGB((argb >> 16) & 0xFF, (argb >> 8) & 0xFF, argb & 0xFF);
}

namespace {

int CALLBACK NoteFontFound(const LOGFONTW*, const TEXTMETRICW*, DWORD, LPARAM found) {
    *reinterpret_cast<bool*>(found) = true;
    return 0;
}

bool ScreenHasFace(const wchar_t* face) {
    const WindowDc screen(nullptr);
    LOGFONTW query{};
    query.lfCharSet = DEFAULT_CHARSET;
    wcsncpy(query.lfFaceName, face, LF_FACESIZE - 1);
    bool found = false;
    EnumFontFamiliesExW(screen.Get(), &query, NoteFontFound, reinterpret_cast<LPARAM>(&found), 0);
    return found;
}

// Upper case under the user's default locale, as the captions of brand 2 are shown.
std::wstring ToUpperUserLocale(std::wstring text) {
    static _locale_t userLocale = _create_locale(LC_CTYPE, "");
    for (wchar_t& c : text) {
        c = userLocale != nullptr ? _towupper_l(c, userLocale) : towupper(c);
    }
    return text;
}

}  // namespace

HFONT CreateUiFont(HDC dc, int points, int weight) {
    const int height = -MulDiv(points, GetDeviceCaps(dc, LOGPIXELSY), 72);
    const wchar_t* face = ScreenHasFace(L"Inter") ? L"Inter" : L"Arial";
    return CreateFontW(height, 0, 0, 0, weight, FALSE, FALSE, FALSE, 0, OUT_DEFAULT_PRECIS,
                       CLIP_DEFAULT_PRECIS, PROOF_QUALITY, 0x31, face);
}

std::array<CornerArc, 4> RoundedCorners(const Gdiplus::Rect& box) {
    const int d = std::min({box.Height, box.Width, 40});
    int width = box.Width;
    int height = box.Height;
    int e = d;
    // The common 20-pixel corner looks lopsided without this correction.
    if (d == 20) {
        --width;
        --height;
        e = 21;
    }
    const int right = box.X + width - 1 - d;
    const int bottom = box.Y + height - d - 1;
    return {{{box.X, box.Y, d, 180.0f},
             {right, box.Y, e, 270.0f},
             {right, bottom, e, 0.0f},
             {box.X, bottom, e, 90.0f}}};
}

void BuildRoundedPath(Gdiplus::GraphicsPath& path, const Gdiplus::Rect& box) {
    path.StartFigure();
    for (const CornerArc& arc : RoundedCorners(box)) {
        path.AddArc(arc.x, arc.y, arc.size, arc.size, arc.startAngle, 90.0f);
    }
    path.CloseFigure();
}

void DrawRoundedBox(Gdiplus::Graphics& graphics, Gdiplus::Rect& box, std::uint32_t borderColor,
                    std::uint32_t fillColor) {
    Gdiplus::Pen pen(Gdiplus::Color(borderColor), 1.0f);
    pen.SetAlignment(Gdiplus::PenAlignmentCenter);
    Gdiplus::SolidBrush brush{Gdiplus::Color(fillColor)};

    Gdiplus::GraphicsPath outer;
    BuildRoundedPath(outer, box);
    graphics.DrawPath(&pen, &outer);

    box.X += 1;
    box.Width -= 2;
    Gdiplus::GraphicsPath middle;
    BuildRoundedPath(middle, box);
    graphics.DrawPath(&pen, &middle);

    box.Y += 1;
    box.Height -= 2;
    Gdiplus::GraphicsPath inner;
    BuildRoundedPath(inner, box);
    graphics.DrawPath(&pen, &inner);
    graphics.FillPath(&brush, &inner);
}

void DrawCaption(HDC dc, const RECT& rect, std::wstring caption, BrandId brand,
                 std::uint32_t textColor, HFONT font) {
    if (brand == kBrandOrv) {
        caption = ToUpperUserLocale(std::move(caption));
    }
    SetBkMode(dc, TRANSPARENT);
    SetTextColor(dc, ArgbToColorRef(textColor));
    HGDIOBJ previous = SelectObject(dc, font);
    RECT area = rect;
    DrawTextW(dc, caption.c_str(), static_cast<int>(caption.size()), &area,
              DT_CENTER | DT_VCENTER | DT_SINGLELINE);
    SelectObject(dc, previous);
}

void PaintRoundedControl(HDC dc, HWND control, const RoundedLook& look, BrandId brand, HFONT font) {
    wchar_t caption[261] = {};
    GetWindowTextW(control, caption, 261);
    RECT client{};
    GetClientRect(control, &client);

    Gdiplus::Graphics graphics(dc);
    graphics.SetSmoothingMode(Gdiplus::SmoothingModeAntiAlias);
    if (look.clearFirst) {
        graphics.Clear(Gdiplus::Color(look.clear));
    }
    Gdiplus::Rect box(client.left, client.top, client.right - client.left,
                      client.bottom - client.top);
    DrawRoundedBox(graphics, box, look.border, look.fill);
    graphics.Flush(Gdiplus::FlushIntentionSync);
    DrawCaption(dc, client, caption, brand, look.text, font);
}

UniqueBitmap LoadArtBitmap(unsigned id) {
    HMODULE module = GetModuleHandleW(nullptr);
    HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(id), RT_RCDATA);
    HGLOBAL loaded = found != nullptr ? LoadResource(module, found) : nullptr;
    const void* bytes = loaded != nullptr ? LockResource(loaded) : nullptr;
    if (bytes == nullptr) {
        return {};
    }
    IStream* stream = SHCreateMemStream(static_cast<const BYTE*>(bytes),
                                        SizeofResource(module, found));
    if (stream == nullptr) {
        return {};
    }
    HBITMAP bitmap = nullptr;
    {
        // The picture reads from the stream until it is destroyed.
        const std::unique_ptr<Gdiplus::Bitmap> picture(Gdiplus::Bitmap::FromStream(stream));
        if (picture && picture->GetLastStatus() == Gdiplus::Ok &&
            picture->GetHBITMAP(Gdiplus::Color(255, 0, 0, 0), &bitmap) != Gdiplus::Ok) {
            bitmap = nullptr;
        }
    }
    stream->Release();
    return UniqueBitmap(bitmap);
}
