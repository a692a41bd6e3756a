#include "ui/uninstall_dialog.h"

#include <cwchar>

#include "resources/resource.h"
#include "setup/branding/branding.h"
#include "setup/uninstall/password_policy.h"
#include "setup/install/agent_installer.h"
#include "setup/uninstall/uninstall.h"
#include "ui/dialog_seams.h"
#include "ui/install_dialog.h"
#include "ui/localisation.h"

HWND CUninstallDialog::Create(std::uint32_t languageId, bool) {
    languageId_ = languageId;
    inProgress_ = false;
    result_ = 0;
    if (CreateFromTemplate(IDD_UNINSTALL) == nullptr)
        return nullptr;

    SetWindowTextW(window_, LoadUiString(IDS_SETUP).c_str());
    SetString(kTitle, IDS_BUSINESS_AGENT);
    SetString(kMainButton, IDS_UNINSTALL);
    SetString(kCancelButton, IDS_CANCEL);
    SetString(kCloseButton, IDS_CLOSE);
    SetString(kCloseGlyph, IDS_CLOSE);
    // The caption shows again on the wrong-password screen, also when no password was asked.
    SetString(kPasswordCaption, IDS_PASSWORD);
    ShowControl(kProgressBar, false);
    ShowControl(kAnimation, false);

    if (RunsAsAdministrator()) {
        bool requiresPassword = false;
        ReadUninstallPasswordPolicy(requiresPassword);
        const std::wstring question =
            FormatUiString(IDS_CONFIRM_UNINSTALL, GetBranding().productFamilyName);
        if (requiresPassword) {
            SetText(kSubtitle, question + L"\n\n" + LoadUiString(IDS_ENTER_PASSWORD));
        } else {
            SetText(kSubtitle, question);
            ShowControl(kPasswordCaption, false);
            ShowControl(kPasswordEntry, false);
        }
    } else {
        ShowControl(kMainButton, false);
        ShowControl(kCancelButton, false);
        ShowControl(kPasswordCaption, false);
        ShowControl(kPasswordEntry, false);
        ShowControl(kCloseButton, true);
        // The install wording serves here too, deliberately.
        SetString(kSubtitle, IDS_NEEDS_ADMINISTRATOR);
    }
    ApplyFonts();
    ShowWindow(window_, SW_SHOW);
    UpdateWindow(window_);
    return window_;
}

void CUninstallDialog::OnCommand(HWND, unsigned id) {
    if (id == kMainButton) {
        StartUninstallation();
    } else if (id == kCompletion) {
        ShowResult();
    } else {
        HandleClosingCommand(id);
    }
}

void CUninstallDialog::StartUninstallation() {
    if (inProgress_)
        return;
    inProgress_ = true;
    std::wstring password;
    HWND entry = GetDlgItem(window_, kPasswordEntry);
    if (entry != nullptr && IsWindowVisible(entry)) {
        wchar_t typed[257] = {};
        GetWindowTextW(entry, typed, 257);
        password = typed;
        // The control keeps the text in a buffer of its own: overwrite it where it lies.
        SetWindowTextW(entry, std::wstring(wcslen(typed), L'*').c_str());
        SetWindowTextW(entry, L"");
        SendMessageW(entry, EM_EMPTYUNDOBUFFER, 0, 0);
        SecureZeroMemory(typed, sizeof(typed));
    }

    ShowControl(kResultIcon, false);
    ShowControl(kMainButton, false);
    ShowControl(kPasswordCaption, false);
    ShowControl(kPasswordEntry, false);
    ShowControl(kCancelButton, false);
    ShowControl(kStatus, true);
    ShowControl(kTitle, true);
    SetString(kSubtitle, IDS_UNINSTALLATION_IN_PROGRESS);
    // After a wrong-password round the controls are in place already.
    if (result_ == 0) {
        MoveControl(kStatus, 0, 80);
        MoveControl(kSubtitle, 0, 30);
    }
    StartProgress();
    Repaint();
    StartWorker(password);
    StartAnimationTimer();
}

std::int32_t CUninstallDialog::RunWork(std::wstring& password) {
    if (const auto& seam = GetDialogSeams().uninstall) {
        return seam(this, password);
    }
    CLogging log(kInstallerLogFile, kUninstallerComponent);
    return UninstallAgent(GetSetupSettings(), GetBranding(), log, this, password);
}

void CUninstallDialog::ShowResult() {
    inProgress_ = false;
    StopProgress();
    ShowControl(kSubtitle, false);

    const std::int32_t result = result_;
    switch (result) {
        case kStatusPasswordRefused:
            SetString(kSubtitle, IDS_INCORRECT_PASSWORD);
            ShowControl(kSubtitle, true);
            ShowControl(kMainButton, true);
            ShowControl(kPasswordCaption, true);
            ShowControl(kPasswordEntry, true);
            ShowControl(kCancelButton, true);
            ShowControl(kCloseButton, false);
            ShowControl(kStatus, false);
            ShowControl(kTitle, false);
            break;
        case kStatusRemovalAtRestart:
            SetStatusText(LoadUiString(IDS_REMOVED_RESTART_ADVISED).c_str());
            SetString(kRestartButton, IDS_RESTART_NOW);
            SetString(kRestartLaterButton, IDS_CLOSE);
            ShowControl(kRestartButton, true);
            ShowControl(kRestartLaterButton, true);
            ShowControl(kCloseButton, false);
            MoveControl(kStatus, 0, -20);
            break;
        case kStatusOk:
            SetStatusText(LoadUiString(IDS_SOFTWARE_REMOVED).c_str());
            SetString(kCloseButton, IDS_FINISH);
            ShowControl(kCloseButton, true);
            break;
        default:
            SetStatusText(FailureLine(IDS_UNINSTALLATION_FAILED, result).c_str());
            ShowControl(kCloseButton, true);
            break;
    }
    if (result != kStatusPasswordRefused) {
        MoveControl(kTitle, 0, 80);
        MoveControl(kStatus, 0, -40);
    }
    SetResultIcon(result >= 0 || result == kStatusRemovalAtRestart);
    ShowControl(kResultIcon, true);
    Repaint();
}
