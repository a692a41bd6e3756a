#include "ui/install_dialog.h"

#include <array>
#include <cwchar>

#include "resources/resource.h"
#include "setup/agent_folders.h"
#include "setup/branding/branding.h"
#include "setup/install/agent_installer.h"
#include "setup/language.h"
#include "setup/setup_settings.h"
#include "sys/file_sys.h"
#include "ui/dialog_seams.h"
#include "ui/localisation.h"
#include "ui/rounded_label.h"
#include "ui/ui_drawing.h"

std::wstring VersionLine(bool debug) {
    std::array<std::uint16_t, 4> version{26, 1, 0, 0};
    std::array<std::uint16_t, 4> read{};
    if (!Failed(file_sys::GetFileVersion(read)))
        version = read;
    std::wstring line = L"ver. " + std::to_wstring(version[0]) + L"." +
                        std::to_wstring(version[1]) + L"." + std::to_wstring(version[2]);
    if (debug)
        line += L" (debug)";
    return line;
}

std::wstring FailureLine(unsigned textId, std::int32_t code) {
    wchar_t line[512] = {};
    swprintf(line, 512, L"%ls (%x)", LoadUiString(textId).c_str(), static_cast<unsigned>(code));
    return line;
}

HWND CInstallDialog::Create(std::uint32_t languageId, bool beta) {
    languageId_ = languageId;
    inProgress_ = false;
    if (CreateFromTemplate(IDD_INSTALL) == nullptr)
        return nullptr;

    const SetupSettings& settings = GetSetupSettings();
    SetWindowTextW(window_, LoadUiString(IDS_BUSINESS_AGENT).c_str());
    SetString(kTitle, IDS_BUSINESS_AGENT);
    SetText(kVersion, VersionLine(settings.debug));
    SetText(kFooter, settings.cnText);
    SetString(kMainButton, IDS_INSTALL);
    SetString(kCloseButton, IDS_CLOSE);
    SetString(kCancelButton, IDS_CANCEL);
    SetString(kOpenLogButton, IDS_OPEN_INSTALL_LOG);
    ShowControl(kProgressBar, false);
    ShowControl(kAnimation, false);

    if (RunsAsAdministrator()) {
        ShowControl(kSubtitle, true);
        ShowControl(kAgreementLink, true);
        SetString(kSubtitle, IDS_INSTALL_INVITATION);
        const CAgentBranding& brand = GetBranding();
        SetText(kAgreementLink, FormatUiString(IDS_AGREEMENT_LINKS, brand.eulaUrl,
                                               brand.privacyPolicyUrl));
    } else {
        // Without administrative rights the user can only close; the empty link control
        // would lie over the Close button.
        ShowControl(kAgreementLink, false);
        ShowControl(kMainButton, false);
        ShowControl(kStatus, true);
        ShowControl(kCloseButton, true);
        SetString(kStatus, IDS_NEEDS_ADMINISTRATOR);
    }
    ApplyFonts();

    if (beta) {
        ShowControl(kBetaLabel, true);
        HWND badge = GetDlgItem(window_, kBetaLabel);
        const BrandId brand = ActiveBrand();
        if (brand == kBrandOrv) {
            MoveControl(kBetaLabel, -29, -1);
            AttachBadge(std::make_unique<COrvBetaLabel>(badge, brand), labels_);
        } else {
            // Brand 3 shares brand 1's badge on purpose.
            AttachBadge(std::make_unique<CZelkoBetaLabel>(badge, brand), labels_);
        }
    }
    ShowWindow(window_, SW_SHOW);
    UpdateWindow(window_);
    return window_;
}

void CInstallDialog::OnCommand(HWND, unsigned id) {
    if (id == kMainButton) {
        StartInstallation();
    } else if (id == kCompletion) {
        ShowResult();
    } else if (id == kOpenLogButton) {
        OpenInstallLog();
    } else {
        HandleClosingCommand(id);
    }
}

void CInstallDialog::StartInstallation() {
    if (inProgress_)
        return;
    inProgress_ = true;
    ShowControl(kAgreementLink, false);
    ShowControl(kMainButton, false);
    ShowControl(kCancelButton, false);
    ShowControl(kStatus, true);
    MoveControl(kStatus, 0, 80);
    SetString(kSubtitle, IDS_INSTALLATION_IN_PROGRESS);
    MoveControl(kSubtitle, 0, 30);
    StartProgress();
    Repaint();
    std::wstring noPassword;
    StartWorker(noPassword);
    StartAnimationTimer();
}

std::int32_t CInstallDialog::RunWork(std::wstring&) {
    Status status;
    if (const auto& seam = GetDialogSeams().install) {
        status = seam(this);
    } else {
        CLogging log(kInstallerLogFile, kInstallerComponent);
        AgentInstaller installer(GetSetupSettings(), GetBranding(), log);
        status = installer.Install(this);
    }
    StoreAgentLanguage(GetSetupSettings().languageId);
    return status;
}

void CInstallDialog::ShowResult() {
    inProgress_ = false;
    StopProgress();
    MoveControl(kTitle, 0, 80);
    MoveControl(kStatus, 0, -40);
    ShowControl(kSubtitle, false);
    ShowControl(kResultIcon, true);

    const std::int32_t result = result_;
    if (result >= 0) {
        SetResultIcon(true);
        SetString(kCloseButton, IDS_FINISH);
        ShowControl(kCloseButton, true);
    } else {
        SetResultIcon(false);
        ShowControl(kOpenLogButton, true);
        ShowControl(kCancelButton, true);
        ShowControl(kCloseButton, false);
    }

    switch (result) {
        case kStatusOk:
            SetStatusText(LoadUiString(IDS_INSTALLATION_COMPLETED).c_str());
            break;
        case kStatusRestartNeeded:
            SetStatusText(LoadUiString(IDS_COMPLETED_RESTART_REQUIRED).c_str());
            ShowControl(kCloseButton, false);
            SetString(kCancelButton, IDS_FINISH);
            MoveControl(kCancelButton, -45, 0);
            ShowControl(kCancelButton, true);
            SetString(kRestartButton, IDS_RESTART_NOW);
            ShowControl(kRestartButton, true);
            break;
        case kStatusPolicyUnavailable:
        case kStatusUnexpectedResponse:
            SetStatusText(LoadUiString(IDS_POLICY_UNAVAILABLE).c_str());
            break;
        case kStatusRestartBeforeInstall:  // also a service that would not start
            SetStatusText(LoadUiString(IDS_FAILED_RESTART_REQUIRED).c_str());
            break;
        case kStatusInviteGone:
            SetStatusText(LoadUiString(IDS_INSTALLER_NO_LONGER_VALID).c_str());
            break;
        default:
            // A positive code other than the restart keeps the success screen with the
            // generic failure line; deliberate.
            SetStatusText(FailureLine(IDS_INSTALLATION_FAILED, result).c_str());
            break;
    }
    Repaint();
}

void CInstallDialog::OpenInstallLog() {
    ShellOpen(agent_folders::DataFolder(GetBranding()) + L"\\log\\" + kInstallerLogFile,
              SW_SHOWDEFAULT);
}
