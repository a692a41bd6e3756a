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
    SetString(IDC_TITLE, IDS_BUSINESS_AGENT);
    SetString(IDC_MAIN_BUTTON, IDS_UNINSTALL);
    SetString(IDC_CANCEL_BUTTON, IDS_CANCEL);
    SetString(IDC_CLOSE_BUTTON, IDS_CLOSE);
    SetString(IDC_CLOSE_GLYPH, IDS_CLOSE);
    // The caption shows again on the wrong-password screen, also when no password was asked.
    SetString(IDC_PASSWORD_CAPTION, IDS_PASSWORD);
    ShowControl(IDC_PROGRESS_BAR, false);
    ShowControl(IDC_ANIMATION, false);

    if (RunsAsAdministrator()) {
        bool requiresPassword = false;
        // Unreadable: no password is asked for here; the agent still decides at its farewell.
        ReadUninstallPasswordPolicy(requiresPassword);
        const std::wstring question =
            FormatUiString(IDS_CONFIRM_UNINSTALL, GetBranding().productFamilyName);
        if (requiresPassword) {
            SetText(IDC_SUBTITLE, question + L"\n\n" + LoadUiString(IDS_ENTER_PASSWORD));
        } else {
            SetText(IDC_SUBTITLE, question);
            ShowControl(IDC_PASSWORD_CAPTION, false);
            ShowControl(IDC_PASSWORD_ENTRY, false);
        }
    } else {
        ShowControl(IDC_MAIN_BUTTON, false);
        ShowControl(IDC_CANCEL_BUTTON, false);
        ShowControl(IDC_PASSWORD_CAPTION, false);
        ShowControl(IDC_PASSWORD_ENTRY, false);
        ShowControl(IDC_CLOSE_BUTTON, true);
        // The install wording serves here too, deliberately.
        SetString(IDC_SUBTITLE, IDS_NEEDS_ADMINISTRATOR);
    }
    ApplyFonts();
    ShowWindow(window_, SW_SHOW);
    UpdateWindow(window_);
    return window_;
}

void CUninstallDialog::OnCommand(HWND, unsigned id) {
    if (id == IDC_MAIN_BUTTON) {
        StartUninstallation();
    } else if (id == ID_WORK_COMPLETED) {
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
    HWND entry = GetDlgItem(window_, IDC_PASSWORD_ENTRY);
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

    ShowControl(IDC_RESULT_ICON, false);
    ShowControl(IDC_MAIN_BUTTON, false);
    ShowControl(IDC_PASSWORD_CAPTION, false);
    ShowControl(IDC_PASSWORD_ENTRY, false);
    ShowControl(IDC_CANCEL_BUTTON, false);
    ShowControl(IDC_STATUS, true);
    ShowControl(IDC_TITLE, true);
    SetString(IDC_SUBTITLE, IDS_UNINSTALLATION_IN_PROGRESS);
    // After a wrong-password round the controls are in place already.
    if (result_ == 0) {
        MoveControl(IDC_STATUS, 0, 80);
        MoveControl(IDC_SUBTITLE, 0, 30);
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
    return UninstallAgent(GetSetupSettings(), GetBranding(), log, this, password, nullptr,
                          &run_record::ProcessTrace());
}

void CUninstallDialog::ShowResult() {
    inProgress_ = false;
    StopProgress();
    ShowControl(IDC_SUBTITLE, false);

    const std::int32_t result = result_;
    switch (result) {
        case kStatusPasswordRefused:
            SetString(IDC_SUBTITLE, IDS_INCORRECT_PASSWORD);
            ShowControl(IDC_SUBTITLE, true);
            ShowControl(IDC_MAIN_BUTTON, true);
            ShowControl(IDC_PASSWORD_CAPTION, true);
            ShowControl(IDC_PASSWORD_ENTRY, true);
            ShowControl(IDC_CANCEL_BUTTON, true);
            ShowControl(IDC_CLOSE_BUTTON, false);
            ShowControl(IDC_STATUS, false);
            ShowControl(IDC_TITLE, false);
            break;
        case kStatusRemovalAtRestart:
            SetStatusText(LoadUiString(IDS_REMOVED_RESTART_ADVISED).c_str());
            SetString(IDC_RESTART_BUTTON, IDS_RESTART_NOW);
            SetString(IDC_RESTART_LATER_BUTTON, IDS_CLOSE);
            ShowControl(IDC_RESTART_BUTTON, true);
            ShowControl(IDC_RESTART_LATER_BUTTON, true);
            ShowControl(IDC_CLOSE_BUTTON, false);
            MoveControl(IDC_STATUS, 0, -20);
            break;
        case kStatusOk:
            SetStatusText(LoadUiString(IDS_SOFTWARE_REMOVED).c_str());
            SetString(IDC_CLOSE_BUTTON, IDS_FINISH);
            ShowControl(IDC_CLOSE_BUTTON, true);
            break;
        default:
            SetStatusText(FailureLine(IDS_UNINSTALLATION_FAILED, result).c_str());
            ShowControl(IDC_CLOSE_BUTTON, true);
            break;
    }
    if (result != kStatusPasswordRefused) {
        MoveControl(IDC_TITLE, 0, 80);
        MoveControl(IDC_STATUS, 0, -40);
    }
    SetResultIcon(result >= 0 || result == kStatusRemovalAtRestart);
    ShowControl(IDC_RESULT_ICON, true);
    Repaint();
}
