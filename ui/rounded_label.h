#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "setup/branding/branding.h"

// A small static label repainted as a rounded coloured badge ("BETA").
class CRoundedLabel {
public:
    CRoundedLabel(HWND control, BrandId brand) : brand_(brand), window_(control) {}
    virtual ~CRoundedLabel() { Detach(); }
    CRoundedLabel(const CRoundedLabel&) = delete;
    CRoundedLabel& operator=(const CRoundedLabel&) = delete;

    // Badges have no states; the argument is ignored.
    virtual std::uint32_t BorderColor(std::uint32_t state) const;
    virtual std::uint32_t BackgroundColor() const;
    virtual std::uint32_t FillColor(std::uint32_t state) const = 0;
    virtual std::uint32_t TextColor(std::uint32_t state) const;

    void Attach();
    void Detach();
    void Paint(HDC dc);

    HWND Window() const { return window_; }

protected:
    BrandId brand_;

private:
    static LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    WNDPROC previous_ = nullptr;
    HWND window_;
};

// The orange badge, shared by brands 1 and 3.
class CZelkoBetaLabel final : public CRoundedLabel {
public:
    using CRoundedLabel::CRoundedLabel;
    std::uint32_t FillColor(std::uint32_t state) const override;
};

// The badge in the brand's own hover colour, used by brand 2.
class COrvBetaLabel final : public CRoundedLabel {
public:
    using CRoundedLabel::CRoundedLabel;
    std::uint32_t FillColor(std::uint32_t state) const override;
};

// Subclasses the control with the badge object and appends it to labels.
void AttachBadge(std::unique_ptr<CRoundedLabel> label,
                 std::vector<std::unique_ptr<CRoundedLabel>>& labels);
