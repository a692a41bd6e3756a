#include <gtest/gtest.h>

#include <windows.h>
#include <commctrl.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "resources/resource.h"
#include "tests/support/gdiplus_environment.h"
#include "ui/button_control.h"
#include "ui/rounded_label.h"
#include "ui/ui_drawing.h"

namespace {

const auto* const kGdiplus = ::testing::AddGlobalTestEnvironment(new GdiplusEnvironment);

constexpr int kWidth = 120;
constexpr int kHeight = 30;

// A parent window that records the commands its buttons post.
class ButtonHost {
public:
    explicit ButtonHost(const wchar_t* caption) {
        WNDCLASSW windowClass{};
        windowClass.lpfnWndProc = &HostProc;
        windowClass.hInstance = GetModuleHandleW(nullptr);
        windowClass.lpszClassName = L"ControlsTestHost";
        RegisterClassW(&windowClass);
        parent_ = CreateWindowExW(0, L"ControlsTestHost", L"", WS_POPUP | WS_VISIBLE, 100, 100, 400,
                                  200, nullptr, nullptr, windowClass.hInstance, nullptr);
        SetWindowLongPtrW(parent_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
        button_ = CreateWindowExW(0, L"Button", caption, WS_CHILD | WS_VISIBLE | BS_PUSHBUTTON, 50,
                                  50, kWidth, kHeight, parent_,
                                  reinterpret_cast<HMENU>(static_cast<INT_PTR>(IDC_MAIN_BUTTON)),
                                  windowClass.hInstance, nullptr);
    }
    ~ButtonHost() { DestroyWindow(parent_); }

    HWND Button() const { return button_; }
    // Commands that reached the parent after dispatching the queue.
    std::vector<WPARAM> TakeCommands() {
        MSG message{};
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageW(&message);
        return std::exchange(commands_, {});
    }
    void PutCursor(bool inside) {
        RECT area{};
        GetWindowRect(button_, &area);
        SetCursorPos(inside ? area.left + 10 : area.right + 100, area.top + 10);
    }

private:
    static LRESULT CALLBACK HostProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        auto* self = reinterpret_cast<ButtonHost*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (message == WM_COMMAND && self != nullptr)
            self->commands_.push_back(wParam);
        return DefWindowProcW(window, message, wParam, lParam);
    }

    HWND parent_;
    HWND button_;
    std::vector<WPARAM> commands_;
};

// A 32-bit top-down picture to paint a control into.
class Canvas {
public:
    Canvas() {
        BITMAPINFO info{};
        info.bmiHeader = {sizeof(BITMAPINFOHEADER), kWidth, -kHeight, 1, 32, BI_RGB};
        dc_ = CreateCompatibleDC(nullptr);
        bitmap_ = CreateDIBSection(dc_, &info, DIB_RGB_COLORS, reinterpret_cast<void**>(&pixels_),
                                   nullptr, 0);
        previous_ = SelectObject(dc_, bitmap_);
    }
    ~Canvas() {
        SelectObject(dc_, previous_);
        DeleteObject(bitmap_);
        DeleteDC(dc_);
    }
    HDC Dc() const { return dc_; }
    std::uint32_t Pixel(int x, int y) const { return pixels_[y * kWidth + x] & 0xFFFFFF; }
    std::vector<std::uint32_t> Pixels() const { return {pixels_, pixels_ + kWidth * kHeight}; }
    int Count(std::uint32_t rgb) const {
        int count = 0;
        for (int i = 0; i < kWidth * kHeight; ++i)
            count += (pixels_[i] & 0xFFFFFF) == rgb;
        return count;
    }

private:
    HDC dc_;
    HBITMAP bitmap_;
    HGDIOBJ previous_;
    std::uint32_t* pixels_ = nullptr;
};

std::uint32_t Rgb(std::uint32_t argb) {
    return argb & 0xFFFFFF;
}

// Brings an attached button into a state through the mouse messages a user causes.
void Enter(CButtonControl& button, std::uint32_t state) {
    if (state == CButtonControl::kHovered || state == CButtonControl::kPressed) {
        SendMessageW(button.Window(), WM_MOUSEMOVE, 0, MAKELPARAM(5, 5));
    }
    if (state == CButtonControl::kPressed) {
        SendMessageW(button.Window(), WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(5, 5));
    }
    ASSERT_EQ(button.CurrentState(), state);
}

struct Expected {
    BrandId brand;
    bool secondary;
    std::uint32_t state;
    std::uint32_t fill;
    std::uint32_t text;
    bool outline;
};

TEST(OwnerDrawnButtons, PaintTheBrandColours) {
    const Expected cases[] = {
        {kBrandZelko, false, CButtonControl::kNormal, 0x0070F6, 0xFFFFFF, false},
        {kBrandZelko, false, CButtonControl::kHovered, 0x005FD1, 0xFFFFFF, false},
        {kBrandZelko, false, CButtonControl::kPressed, 0x0056BD, 0xFFFFFF, false},
        {kBrandOrv, false, CButtonControl::kNormal, 0x44CC88, 0x181818, false},
        {kBrandOrv, false, CButtonControl::kHovered, 0x77DAA8, 0x181818, false},
        {kBrandOrv, false, CButtonControl::kPressed, 0x8BDFB5, 0x181818, false},
        {kBrandTessan, false, CButtonControl::kNormal, 0xFEEB29, 0x181818, true},
        {kBrandTessan, false, CButtonControl::kHovered, 0xFFF488, 0x181818, true},
        {kBrandTessan, false, CButtonControl::kPressed, 0xFFF9C2, 0x181818, true},
        {kBrandZelko, true, CButtonControl::kNormal, 0x071D2B, 0xFFFFFF, true},
        {kBrandZelko, true, CButtonControl::kHovered, 0x21303A, 0xFFFFFF, true},
        {kBrandOrv, true, CButtonControl::kNormal, 0x111419, 0xFFFFFF, true},
        {kBrandOrv, true, CButtonControl::kPressed, 0x15232E, 0xFFFFFF, true},
        {kBrandTessan, true, CButtonControl::kNormal, 0xFFFFFF, 0x242424, true},
        {kBrandTessan, true, CButtonControl::kHovered, 0x242424, 0xFBFAF9, false},
        {kBrandTessan, true, CButtonControl::kPressed, 0x494949, 0xFBFAF9, false},
    };
    for (const Expected& expected : cases) {
        SCOPED_TRACE(::testing::Message() << "brand " << expected.brand << " secondary "
                                          << expected.secondary << " state " << expected.state);
        ButtonHost host(L"Install");
        CButtonControl* button = expected.secondary
                                     ? new CButtonControlSecondary(host.Button(), expected.brand)
                                     : new CButtonControl(host.Button(), expected.brand);
        button->Attach();
        Enter(*button, expected.state);
        Canvas canvas;
        button->Paint(canvas.Dc(), true);

        const std::uint32_t surface = Rgb(button->BackgroundColor());
        EXPECT_EQ(canvas.Pixel(0, 0), surface) << "corner outside the rounded body";
        EXPECT_EQ(canvas.Pixel(10, kHeight / 2), expected.fill) << "body";
        EXPECT_GT(canvas.Count(expected.text), 5) << "caption";
        const std::uint32_t top = canvas.Pixel(kWidth / 2, 0);
        if (expected.outline) {
            EXPECT_NE(top, surface) << "outline";
        } else {
            EXPECT_EQ(top, surface) << "an outline where none should show";
        }
        button->Detach();
        delete button;
    }
}

TEST(OwnerDrawnButtons, OtherBrandsAndStatesDrawNothing) {
    ButtonHost host(L"Install");
    CButtonControl primary(host.Button(), kBrandUnknown);
    CButtonControlSecondary secondary(host.Button(), kBrandZelko);
    EXPECT_EQ(primary.FillColor(CButtonControl::kNormal), 0x00FFFFFFu);
    EXPECT_EQ(primary.BackgroundColor(), 0xFF071D2Bu);
    EXPECT_EQ(primary.TextColor(CButtonControl::kNormal), 0xFF181818u);
    EXPECT_EQ(secondary.FillColor(1), 0x00FFFFFFu);
    EXPECT_EQ(secondary.BorderColor(1), 0x00FFFFFFu);
    EXPECT_EQ(secondary.BorderColor(CButtonControl::kPressed), 0xFFFFFFFFu);
}

TEST(OwnerDrawnButtons, WorkByMouseOnly) {
    ButtonHost host(L"Install");
    CButtonControl button(host.Button(), kBrandZelko);
    button.Attach();
    const HWND window = host.Button();

    // Hover and leave.
    SendMessageW(window, WM_MOUSEMOVE, 0, MAKELPARAM(5, 5));
    EXPECT_EQ(button.CurrentState(), CButtonControl::kHovered);
    SendMessageW(window, WM_MOUSELEAVE, 0, 0);
    EXPECT_EQ(button.CurrentState(), CButtonControl::kNormal);
    SendMessageW(window, WM_MOUSEHOVER, 0, 0);
    EXPECT_EQ(button.CurrentState(), CButtonControl::kHovered);

    // Pressed and released inside: one command to the parent.
    host.PutCursor(true);
    SendMessageW(window, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(5, 5));
    EXPECT_EQ(button.CurrentState(), CButtonControl::kPressed);
    SendMessageW(window, WM_LBUTTONUP, 0, MAKELPARAM(5, 5));
    EXPECT_EQ(button.CurrentState(), CButtonControl::kNormal);
    EXPECT_EQ(host.TakeCommands(), std::vector<WPARAM>{IDC_MAIN_BUTTON});

    // Released outside: nothing.
    SendMessageW(window, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(5, 5));
    host.PutCursor(false);
    SendMessageW(window, WM_LBUTTONUP, 0, MAKELPARAM(5, 5));
    EXPECT_EQ(button.CurrentState(), CButtonControl::kNormal);
    EXPECT_TRUE(host.TakeCommands().empty());

    // Released without a press before: nothing.
    host.PutCursor(true);
    SendMessageW(window, WM_LBUTTONUP, 0, MAKELPARAM(5, 5));
    EXPECT_TRUE(host.TakeCommands().empty());

    // Enter and Space are swallowed and change nothing.
    SetFocus(window);
    host.TakeCommands();
    const std::uint32_t before = button.CurrentState();
    for (WPARAM key : {VK_RETURN, VK_SPACE}) {
        EXPECT_EQ(SendMessageW(window, WM_KEYDOWN, key, 0), 1);
        EXPECT_EQ(SendMessageW(window, WM_KEYUP, key, 0), 1);
        SendMessageW(window, WM_CHAR, key, 0);
    }
    EXPECT_EQ(button.CurrentState(), before);
    EXPECT_TRUE(host.TakeCommands().empty());
    button.Detach();
}

// The role decides the look, not the default-button style, which the dialog manager moves.
TEST(OwnerDrawnButtons, OnlyPushButtonsAreTakenOverAndTheirRoleDecidesTheLook) {
    ButtonHost host(L"Install");
    HWND parent = GetParent(host.Button());
    HWND cancel = CreateWindowExW(
        0, L"Button", L"Cancel", WS_CHILD | WS_VISIBLE | BS_PUSHBUTTON, 0, 0, 50, 20, parent,
        reinterpret_cast<HMENU>(static_cast<INT_PTR>(IDC_CANCEL_BUTTON)), nullptr, nullptr);
    HWND other = CreateWindowExW(0, L"Button", L"Later", WS_CHILD | WS_VISIBLE | BS_DEFPUSHBUTTON,
                                 0, 0, 50, 20, parent, nullptr, nullptr, nullptr);
    HWND check = CreateWindowExW(0, L"Button", L"Check", WS_CHILD | BS_AUTOCHECKBOX, 0, 0, 50, 20,
                                 parent, nullptr, nullptr, nullptr);
    CreateWindowExW(0, L"Static", L"Text", WS_CHILD, 0, 0, 50, 20, parent, nullptr, nullptr,
                    nullptr);
    std::vector<std::unique_ptr<CButtonControl>> buttons;
    SubclassAllButtons(parent, {IDC_CANCEL_BUTTON}, buttons);
    ASSERT_EQ(buttons.size(), 3u);
    for (const auto& button : buttons) {
        EXPECT_NE(button->Window(), check);
        const bool isSecondary = dynamic_cast<CButtonControlSecondary*>(button.get()) != nullptr;
        EXPECT_EQ(isSecondary, button->Window() == cancel);
        EXPECT_EQ(GetWindowLongPtrW(button->Window(), GWLP_USERDATA),
                  reinterpret_cast<LONG_PTR>(button.get()));
    }
    HWND first = buttons.front()->Window();
    buttons.clear();
    EXPECT_EQ(GetWindowLongPtrW(first, GWLP_USERDATA), 0) << "a freed button stayed attached";
    (void)other;
}

TEST(Badges, BrandTwoShowsItsCaptionInCapitals) {
    auto paint = [](BrandId brand, const wchar_t* caption) {
        ButtonHost host(caption);
        COrvBetaLabel label(host.Button(), brand);
        Canvas canvas;
        label.Paint(canvas.Dc());
        return canvas.Pixels();
    };
    EXPECT_EQ(paint(kBrandOrv, L"beta"), paint(kBrandOrv, L"BETA"));
    EXPECT_NE(paint(kBrandZelko, L"beta"), paint(kBrandZelko, L"BETA"));

    ButtonHost host(L"BETA");
    EXPECT_EQ(CZelkoBetaLabel(host.Button(), kBrandTessan).FillColor(0), 0xFFFF7602u);
    EXPECT_EQ(COrvBetaLabel(host.Button(), kBrandOrv).FillColor(0), 0xFF77DAA8u);
    EXPECT_EQ(COrvBetaLabel(host.Button(), kBrandZelko).FillColor(0), 0xFF005FD1u);
    EXPECT_EQ(COrvBetaLabel(host.Button(), kBrandTessan).FillColor(0), 0xFFFFF488u);
    EXPECT_EQ(COrvBetaLabel(host.Button(), kBrandUnknown).FillColor(0), 0x00FFFFFFu);
    Canvas canvas;
    CZelkoBetaLabel badge(host.Button(), kBrandZelko);
    badge.Paint(canvas.Dc());
    EXPECT_EQ(canvas.Pixel(10, kHeight / 2), 0xFF7602u);
}

TEST(RoundedBox, CornerDiameters) {
    const auto small = RoundedCorners(Gdiplus::Rect(0, 0, 20, 20));
    EXPECT_EQ(small[0].size, 20);
    for (int i = 1; i < 4; ++i)
        EXPECT_EQ(small[i].size, 21) << i;
    // The corrected width and height place the right and bottom arcs.
    EXPECT_EQ(small[1].x, 0 + 19 - 1 - 20);
    EXPECT_EQ(small[2].y, 0 + 19 - 20 - 1);

    const auto tall = RoundedCorners(Gdiplus::Rect(5, 7, 160, 60));
    for (const CornerArc& arc : tall)
        EXPECT_EQ(arc.size, 40);
    EXPECT_EQ(tall[1].x, 5 + 160 - 1 - 40);
    EXPECT_EQ(tall[3].y, 7 + 60 - 40 - 1);
    EXPECT_FLOAT_EQ(tall[2].startAngle, 0.0f);

    const auto flat = RoundedCorners(Gdiplus::Rect(0, 0, 98, 33));
    for (const CornerArc& arc : flat)
        EXPECT_EQ(arc.size, 33);
}

TEST(Colours, ArgbBecomesColorRef) {
    EXPECT_EQ(ArgbToColorRef(0xFF0070F6), static_cast<COLORREF>(0xF67000));
    EXPECT_EQ(ArgbToColorRef(0x00123456), static_cast<COLORREF>(0x563412));
}

}  // namespace
