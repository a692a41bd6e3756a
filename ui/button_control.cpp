#include "ui/button_control.h"

#include <algorithm>
#include <string>

#include "sys/unique_handle.h"
#include "ui/ui_drawing.h"
#include "ui/window_subclass.h"

namespace {

constexpr std::uint32_t kInvisible = 0x00FFFFFF;

}  // namespace

CButtonControl::CButtonControl(HWND control, BrandId brand) : brand_(brand), window_(control) {}

std::uint32_t CButtonControl::BorderColor(std::uint32_t) const {
    // Alpha 0 switches the outline off.
    return brand_ == kBrandTessan ? 0xFF181818 : kInvisible;
}

std::uint32_t CButtonControl::BackgroundColor() const {
    switch (brand_) {
        case kBrandOrv:
            return 0xFF111419;
        case kBrandTessan:
            return 0xFFFAF9F7;
        default:
            return 0xFF071D2B;
    }
}

std::uint32_t CButtonControl::FillColor(std::uint32_t state) const {
    static constexpr std::uint32_t kFills[3][3] = {
        // normal, hovered, pressed
        {0xFF0070F6, 0xFF005FD1, 0xFF0056BD},
        {0xFF44CC88, 0xFF77DAA8, 0xFF8BDFB5},
        {0xFFFEEB29, 0xFFFFF488, 0xFFFFF9C2},
    };
    if (brand_ < kBrandZelko || brand_ > kBrandTessan)
        return kInvisible;
    const auto& fills = kFills[brand_ - 1];
    switch (state) {
        case kNormal:
            return fills[0];
        case kHovered:
            return fills[1];
        case kPressed:
            return fills[2];
        default:
            return kInvisible;
    }
}

std::uint32_t CButtonControl::TextColor(std::uint32_t) const {
    return brand_ == kBrandZelko ? 0xFFFFFFFF : 0xFF181818;
}

std::uint32_t CButtonControlSecondary::BorderColor(std::uint32_t state) const {
    const bool active = state == kHovered || state == kPressed;
    switch (brand_) {
        case kBrandZelko:
        case kBrandOrv:
            if (state == kNormal)
                return 0xFFBEC1C5;
            return active ? 0xFFFFFFFF : kInvisible;
        case kBrandTessan:
            return state == kNormal ? 0xFF242424 : kInvisible;
        default:
            return kInvisible;
    }
}

std::uint32_t CButtonControlSecondary::FillColor(std::uint32_t state) const {
    if (brand_ < kBrandZelko || brand_ > kBrandTessan)
        return kInvisible;
    const bool tessan = brand_ == kBrandTessan;
    switch (state) {
        // The normal fill is the dialog surface: an outlined button until hovered.
        case kNormal:
            return tessan ? 0xFFFFFFFF : (brand_ == kBrandZelko ? 0xFF071D2B : 0xFF111419);
        case kHovered:
            return tessan ? 0xFF242424 : 0xFF21303A;
        case kPressed:
            return tessan ? 0xFF494949 : 0xFF15232E;
        default:
            return kInvisible;
    }
}

std::uint32_t CButtonControlSecondary::TextColor(std::uint32_t state) const {
    if (brand_ != kBrandTessan)
        return 0xFFFFFFFF;
    return state == kNormal ? 0xFF242424 : 0xFFFBFAF9;
}

void CButtonControl::Attach() {
    previous_ = SubclassControl(window_, this, &WindowProc);
}

void CButtonControl::Detach() {
    if (previous_ == nullptr)
        return;
    RestoreControl(window_, previous_);
    previous_ = nullptr;
}

HFONT ButtonCaptionFont(HDC dc) {
    static HFONT font = CreateUiFont(dc, 10, FW_BOLD);
    return font;
}

void CButtonControl::Paint(HDC dc, bool clear) {
    const RoundedLook look{clear, BackgroundColor(), BorderColor(state_), FillColor(state_),
                           TextColor(state_)};
    PaintRoundedControl(dc, window_, look, brand_, ButtonCaptionFont(dc));
}

LRESULT CALLBACK CButtonControl::WindowProc(HWND window, UINT message, WPARAM wParam,
                                            LPARAM lParam) {
    auto* self = reinterpret_cast<CButtonControl*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self == nullptr || self->previous_ == nullptr) {
        return DefWindowProcW(window, message, wParam, lParam);
    }
    return self->HandleMessage(message, wParam, lParam);
}

LRESULT CButtonControl::HandleMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    const std::uint32_t before = state_;
    switch (message) {
        case WM_LBUTTONDOWN:
            state_ = kPressed;
            break;
        case WM_LBUTTONUP: {
            POINT cursor{};
            RECT area{};
            GetCursorPos(&cursor);
            GetWindowRect(window_, &area);
            // The button's own click handling is bypassed on purpose.
            if (before == kPressed && PtInRect(&area, cursor)) {
                PostMessageW(GetParent(window_), WM_COMMAND,
                             static_cast<WPARAM>(GetDlgCtrlID(window_)), 0);
            }
            state_ = kNormal;
            break;
        }
        case WM_MOUSEMOVE:
            if (state_ == kNormal) {
                TRACKMOUSEEVENT track{sizeof(track), TME_HOVER | TME_LEAVE, window_, 10};
                TrackMouseEvent(&track);
                state_ = kHovered;
            }
            break;
        case WM_MOUSEHOVER:
            state_ = kHovered;
            break;
        case WM_MOUSELEAVE:
            state_ = kNormal;
            break;
        case WM_PAINT: {
            PAINTSTRUCT paint{};
            HDC dc = BeginPaint(window_, &paint);
            Paint(dc, false);
            EndPaint(window_, &paint);
            return 1;
        }
        case WM_KEYDOWN:
        case WM_KEYUP:
            // Mouse only, by design.
            return 1;
        default:
            return CallWindowProcW(previous_, window_, message, wParam, lParam);
    }
    if (state_ != before) {
        const WindowDc dc(window_);
        Paint(dc.Get(), true);
        return 1;
    }
    return CallWindowProcW(previous_, window_, message, wParam, lParam);
}

namespace {

struct SubclassWalk {
    HWND dialog;
    const std::vector<unsigned>* secondaryIds;
    std::vector<std::unique_ptr<CButtonControl>>* buttons;
};

BOOL CALLBACK SubclassIfPushButton(HWND child, LPARAM data) {
    auto* walk = reinterpret_cast<SubclassWalk*>(data);
    if (GetParent(child) != walk->dialog)
        return TRUE;
    wchar_t className[16] = {};
    GetClassNameW(child, className, 16);
    if (wcscmp(className, L"Button") != 0)
        return TRUE;
    const LONG type = GetWindowLongW(child, GWL_STYLE) & 0x0F;
    if (type != BS_PUSHBUTTON && type != BS_DEFPUSHBUTTON)
        return TRUE;
    const auto id = static_cast<unsigned>(GetDlgCtrlID(child));
    const auto& secondary = *walk->secondaryIds;
    std::unique_ptr<CButtonControl> button;
    if (std::find(secondary.begin(), secondary.end(), id) != secondary.end()) {
        button = std::make_unique<CButtonControlSecondary>(child, ActiveBrand());
    } else {
        button = std::make_unique<CButtonControl>(child, ActiveBrand());
    }
    button->Attach();
    walk->buttons->push_back(std::move(button));
    return TRUE;
}

}  // namespace

void SubclassAllButtons(HWND dialog, const std::vector<unsigned>& secondaryIds,
                        std::vector<std::unique_ptr<CButtonControl>>& buttons) {
    SubclassWalk walk{dialog, &secondaryIds, &buttons};
    EnumChildWindows(dialog, SubclassIfPushButton, reinterpret_cast<LPARAM>(&walk));
}
