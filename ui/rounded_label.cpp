#include "ui/rounded_label.h"

#include <string>

#include "ui/button_control.h"
#include "ui/ui_drawing.h"
#include "ui/window_subclass.h"

std::uint32_t CRoundedLabel::BorderColor(std::uint32_t) const {
    return CButtonControl(nullptr, brand_).BorderColor(CButtonControl::kNormal);
}

std::uint32_t CRoundedLabel::BackgroundColor() const {
    return CButtonControl(nullptr, brand_).BackgroundColor();
}

std::uint32_t CRoundedLabel::TextColor(std::uint32_t) const {
    return CButtonControl(nullptr, brand_).TextColor(CButtonControl::kNormal);
}

std::uint32_t CZelkoBetaLabel::FillColor(std::uint32_t) const {
    return 0xFFFF7602;
}

std::uint32_t COrvBetaLabel::FillColor(std::uint32_t) const {
    switch (brand_) {
        case kBrandZelko:
            return 0xFF005FD1;
        case kBrandOrv:
            return 0xFF77DAA8;
        case kBrandTessan:
            return 0xFFFFF488;
        default:
            return 0x00FFFFFF;
    }
}

void CRoundedLabel::Attach() {
    previous_ = SubclassControl(window_, this, &WindowProc);
}

void CRoundedLabel::Detach() {
    if (previous_ == nullptr)
        return;
    RestoreControl(window_, previous_);
    previous_ = nullptr;
}

void CRoundedLabel::Paint(HDC dc) {
    // Badges keep a caption font of their own, separate from the buttons'.
    static HFONT font = CreateUiFont(dc, 10, FW_BOLD);
    const RoundedLook look{false, BackgroundColor(), BorderColor(0), FillColor(0), TextColor(0)};
    PaintRoundedControl(dc, window_, look, brand_, font);
}

LRESULT CALLBACK CRoundedLabel::WindowProc(HWND window, UINT message, WPARAM wParam,
                                           LPARAM lParam) {
    auto* self = reinterpret_cast<CRoundedLabel*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self == nullptr || self->previous_ == nullptr) {
        return DefWindowProcW(window, message, wParam, lParam);
    }
    if (message == WM_PAINT) {
        PAINTSTRUCT paint{};
        HDC dc = BeginPaint(window, &paint);
        self->Paint(dc);
        EndPaint(window, &paint);
        return 1;
    }
    WNDPROC previous = self->previous_;
    if (message == WM_NCDESTROY) {
        self->Detach();
    }
    return CallWindowProcW(previous, window, message, wParam, lParam);
}

void AttachBadge(std::unique_ptr<CRoundedLabel> label,
                 std::vector<std::unique_ptr<CRoundedLabel>>& labels) {
    label->Attach();
    labels.push_back(std::move(label));
}
