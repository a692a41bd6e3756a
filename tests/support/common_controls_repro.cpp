// Two controls of the system on their own, outside the program, set up as the install
// window sets them up. On Windows both work; the exit code names what does not:
//   bit 0: the link control finds no links in a text set after its font, as the dialog
//          manager gives every control its font before the program sets a text; the
//          agreement line then shows its markup as plain text.
//   bit 1: a progress bar whose visual styles are switched off does not paint the colours
//          it is given.
#include <windows.h>
#include <commctrl.h>
#include <uxtheme.h>

#include <cstdio>

namespace {

const wchar_t kAgreement[] =
    L"By installing or using the product, you agree to its <a "
    L"href=\"https://www.zelko.example/eula\">End User License Agreement</a> and <a "
    L"href=\"https://www.zelko.example/privacy-policy\">Privacy Policy</a>";

int CountLinks(HWND link) {
    int count = 0;
    for (;; ++count) {
        LITEM item{};
        item.mask = LIF_ITEMINDEX | LIF_URL;
        item.iLink = count;
        if (!SendMessageW(link, LM_GETITEM, 0, reinterpret_cast<LPARAM>(&item)))
            return count;
    }
}

int LinksFound(HWND parent, bool fontFirst) {
    HWND link = CreateWindowExW(0, WC_LINK, L"", WS_CHILD | WS_VISIBLE, 10, 10, 400, 50, parent,
                                nullptr, nullptr, nullptr);
    const auto font = reinterpret_cast<WPARAM>(GetStockObject(DEFAULT_GUI_FONT));
    if (fontFirst)
        SendMessageW(link, WM_SETFONT, font, TRUE);
    SetWindowTextW(link, kAgreement);
    if (!fontFirst)
        SendMessageW(link, WM_SETFONT, font, TRUE);
    const int links = CountLinks(link);
    DestroyWindow(link);
    return links;
}

// The colour the bar painted at x, as 0xRRGGBB.
COLORREF BarPixel(HWND bar, int x) {
    HDC dc = GetDC(bar);
    const COLORREF color = GetPixel(dc, x, 4);
    ReleaseDC(bar, dc);
    return (GetRValue(color) << 16) | (GetGValue(color) << 8) | GetBValue(color);
}

bool BarKeepsItsColours(HWND parent) {
    HWND bar = CreateWindowExW(0, PROGRESS_CLASSW, L"", WS_CHILD | WS_VISIBLE, 10, 100, 200, 9,
                               parent, nullptr, nullptr, nullptr);
    SendMessageW(bar, PBM_SETRANGE, 0, MAKELPARAM(0, 100));
    SetWindowTheme(bar, L"", L"");
    SendMessageW(bar, PBM_SETBARCOLOR, 0, RGB(0x00, 0x70, 0xF6));
    SendMessageW(bar, PBM_SETBKCOLOR, 0, RGB(0x05, 0x05, 0x05));
    SendMessageW(bar, PBM_SETPOS, 50, 0);
    UpdateWindow(bar);
    const COLORREF filled = BarPixel(bar, 4);
    const COLORREF empty = BarPixel(bar, 195);
    std::printf("progress bar: filled 0x%06lx, empty 0x%06lx\n", filled, empty);
    DestroyWindow(bar);
    return filled == 0x0070F6 && empty == 0x050505;
}

}  // namespace

int wmain() {
    INITCOMMONCONTROLSEX controls{sizeof(controls), ICC_LINK_CLASS | ICC_PROGRESS_CLASS};
    InitCommonControlsEx(&controls);
    HWND parent = CreateWindowExW(0, L"Static", L"", WS_POPUP | WS_VISIBLE, 0, 0, 600, 400,
                                  nullptr, nullptr, nullptr, nullptr);
    const int textFirst = LinksFound(parent, false);
    const int fontFirst = LinksFound(parent, true);
    std::printf("links found: text then font %d, font then text %d\n", textFirst, fontFirst);
    int faults = fontFirst == 2 ? 0 : 1;
    faults |= BarKeepsItsColours(parent) ? 0 : 2;
    DestroyWindow(parent);
    return faults;
}
