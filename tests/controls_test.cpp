#include <gtest/gtest.h>

#include <windows.h>
#include <commctrl.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "resources/resource.h"
#include "tests/support/gdiplus_environment.h"
#include "tests/support/picture.h"
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
        Picture canvas(kWidth, kHeight);
        button->Paint(canvas.Dc(), true);

        const std::uint32_t surface = button->BackgroundColor() & 0xFFFFFF;
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
        Picture canvas(kWidth, kHeight);
        label.Paint(canvas.Dc());
        return canvas.Pixels();
    };
    EXPECT_EQ(paint(kBrandOrv, L"beta"), paint(kBrandOrv, L"BETA"));
    EXPECT_NE(paint(kBrandZelko, L"beta"), paint(kBrandZelko, L"BETA"));

    ButtonHost host(L"BETA");
    Picture canvas(kWidth, kHeight);
    CZelkoBetaLabel badge(host.Button(), kBrandZelko);
    badge.Paint(canvas.Dc());
    EXPECT_EQ(canvas.Pixel(10, kHeight / 2), 0xFF7602u);
}

}  // namespace
