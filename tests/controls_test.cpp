#include <gtest/gtest.h>

#include <windows.h>

#include <cstdint>
#include <memory>
#include <set>
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

// A parent window with one push button, and the commands the button posts to it.
class ButtonHost {
public:
    explicit ButtonHost(const wchar_t* caption) {
        parent_ = CreateWindowExW(0, L"Static", L"", WS_POPUP | WS_VISIBLE, 100, 100, 400, 200,
                                  nullptr, nullptr, nullptr, nullptr);
        button_ = CreateWindowExW(0, L"Button", caption, WS_CHILD | WS_VISIBLE | BS_PUSHBUTTON, 50,
                                  50, kWidth, kHeight, parent_,
                                  reinterpret_cast<HMENU>(static_cast<INT_PTR>(IDC_MAIN_BUTTON)),
                                  nullptr, nullptr);
    }
    ~ButtonHost() { DestroyWindow(parent_); }

    HWND Button() const { return button_; }
    // Dispatches the queue and hands back the commands in it for the parent.
    std::vector<WPARAM> TakeCommands() {
        std::vector<WPARAM> commands;
        MSG message{};
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (message.message == WM_COMMAND && message.hwnd == parent_)
                commands.push_back(message.wParam);
            DispatchMessageW(&message);
        }
        return commands;
    }
    void PutCursor(bool inside) {
        RECT area{};
        GetWindowRect(button_, &area);
        SetCursorPos(inside ? area.left + 10 : area.right + 100, area.top + 10);
    }

private:
    HWND parent_;
    HWND button_;
};

// Every brand's buttons, in every state, paint the colours they stand for: the corners in
// the surface, the body in the fill, the caption in the text colour and an outline only
// where the border is opaque. The states must look different from one another.
TEST(OwnerDrawnButtons, PaintTheirColoursInEveryState) {
    for (BrandId brand : {kBrandZelko, kBrandOrv, kBrandTessan}) {
        for (bool secondary : {false, true}) {
            std::set<std::uint32_t> bodies;
            for (std::uint32_t state :
                 {CButtonControl::kNormal, CButtonControl::kHovered, CButtonControl::kPressed}) {
                SCOPED_TRACE(::testing::Message() << "brand " << brand << " secondary " << secondary
                                                  << " state " << state);
                ButtonHost host(L"Install");
                const std::unique_ptr<CButtonControl> button =
                    secondary ? std::make_unique<CButtonControlSecondary>(host.Button(), brand)
                              : std::make_unique<CButtonControl>(host.Button(), brand);
                button->Attach();
                // Into the state through the mouse messages a user causes.
                if (state != CButtonControl::kNormal)
                    SendMessageW(host.Button(), WM_MOUSEMOVE, 0, MAKELPARAM(5, 5));
                if (state == CButtonControl::kPressed)
                    SendMessageW(host.Button(), WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(5, 5));
                const Picture canvas =
                    Picture::Painted(kWidth, kHeight, [&](HDC dc) { button->Paint(dc, true); });

                const std::uint32_t surface = button->BackgroundColor() & 0xFFFFFF;
                EXPECT_EQ(canvas.Pixel(0, 0), surface) << "corner outside the rounded body";
                const std::uint32_t body = canvas.Pixel(10, kHeight / 2);
                EXPECT_EQ(body, button->FillColor(state) & 0xFFFFFF) << "body";
                bodies.insert(body);
                EXPECT_GT(canvas.Count(button->TextColor(state) & 0xFFFFFF), 5) << "caption";
                const bool outline = button->BorderColor(state) >> 24 != 0;
                EXPECT_EQ(canvas.Pixel(kWidth / 2, 0) != surface, outline) << "outline";
            }
            EXPECT_EQ(bodies.size(), 3u) << "states that look alike";
        }
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
}

// The role decides the look, not the default-button style, which the dialog manager moves.
TEST(OwnerDrawnButtons, OnlyPushButtonsAreTakenOverAndTheirRoleDecidesTheLook) {
    ButtonHost host(L"Install");
    HWND parent = GetParent(host.Button());
    HWND cancel = CreateWindowExW(
        0, L"Button", L"Cancel", WS_CHILD | WS_VISIBLE | BS_PUSHBUTTON, 0, 0, 50, 20, parent,
        reinterpret_cast<HMENU>(static_cast<INT_PTR>(IDC_CANCEL_BUTTON)), nullptr, nullptr);
    CreateWindowExW(0, L"Button", L"Later", WS_CHILD | WS_VISIBLE | BS_DEFPUSHBUTTON, 0, 0, 50, 20,
                    parent, nullptr, nullptr, nullptr);
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
}

TEST(Badges, PaintTheirFillAndBrandTwoShowsItsCaptionInCapitals) {
    auto paint = [](BrandId brand, const wchar_t* caption) {
        ButtonHost host(caption);
        COrvBetaLabel label(host.Button(), brand);
        const Picture canvas = Picture::Painted(kWidth, kHeight, [&](HDC dc) { label.Paint(dc); });
        EXPECT_EQ(canvas.Pixel(10, kHeight / 2), label.FillColor(0) & 0xFFFFFF);
        return canvas.Pixels();
    };
    EXPECT_EQ(paint(kBrandOrv, L"beta"), paint(kBrandOrv, L"BETA"));
    EXPECT_NE(paint(kBrandZelko, L"beta"), paint(kBrandZelko, L"BETA"));
}

}  // namespace
