#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "setup/branding/branding.h"

// A dialog push button repainted as a flat rounded button in the brand's colours. It is
// worked by the mouse only.
class CButtonControl {
public:
    enum State : std::uint32_t { kNormal = 2, kPressed = 4, kHovered = 8 };

    explicit CButtonControl(HWND control, BrandId brand);
    virtual ~CButtonControl() { Detach(); }
    CButtonControl(const CButtonControl&) = delete;
    CButtonControl& operator=(const CButtonControl&) = delete;

    virtual std::uint32_t BorderColor(std::uint32_t state) const;
    virtual std::uint32_t BackgroundColor() const;
    virtual std::uint32_t FillColor(std::uint32_t state) const;
    virtual std::uint32_t TextColor(std::uint32_t state) const;

    // Takes over the control's window procedure; Detach gives it back.
    void Attach();
    void Detach();

    // Paints the control on dc in its current state, clearing it first when asked.
    void Paint(HDC dc, bool clear);

    HWND Window() const { return window_; }
    std::uint32_t CurrentState() const { return state_; }

protected:
    BrandId brand_;

private:
    static LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT HandleMessage(UINT message, WPARAM wParam, LPARAM lParam);

    WNDPROC previous_ = nullptr;
    std::uint32_t state_ = kNormal;
    HWND window_;
};

// The outlined button of a secondary action, such as Cancel, that fills in on hover.
class CButtonControlSecondary final : public CButtonControl {
public:
    using CButtonControl::CButtonControl;

    std::uint32_t BorderColor(std::uint32_t state) const override;
    std::uint32_t FillColor(std::uint32_t state) const override;
    std::uint32_t TextColor(std::uint32_t state) const override;
};

// Replaces every plain and default push button among the dialog's children with an
// owner-drawn one and appends it to buttons; other button kinds are left alone. The
// buttons with the given ids are secondary ones. The role decides, not the default-button
// style: the dialog manager moves that style between buttons as the focus moves.
void SubclassAllButtons(HWND dialog, const std::vector<unsigned>& secondaryIds,
                        std::vector<std::unique_ptr<CButtonControl>>& buttons);

// The caption font of all buttons, made on first use and kept for the whole run.
HFONT ButtonCaptionFont(HDC dc);
