#include "ui/install_dialog.h"

#include <array>
#include <cwchar>

#include "resources/resource.h"
#include "setup/branding/branding.h"
#include "setup/install/agent_installer.h"
#include "setup/language.h"
#include "setup/setup_settings.h"
#include "sys/file_sys.h"
#include "sys/text_sys.h"
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
    SetString(IDC_TITLE, IDS_BUSINESS_AGENT);
    SetText(IDC_VERSION, VersionLine(settings.debug));
    SetText(IDC_FOOTER, settings.cnText);
    SetString(IDC_MAIN_BUTTON, IDS_INSTALL);
    SetString(IDC_CLOSE_BUTTON, IDS_CLOSE);
    SetString(IDC_CANCEL_BUTTON, IDS_CANCEL);
    SetString(IDC_OPEN_LOG_BUTTON, IDS_OPEN_INSTALL_LOG);
    ShowControl(IDC_PROGRESS_BAR, false);
    ShowControl(IDC_ANIMATION, false);

    if (RunsAsAdministrator()) {
        ShowControl(IDC_SUBTITLE, true);
        ShowControl(IDC_AGREEMENT_LINK, true);
        SetString(IDC_SUBTITLE, IDS_INSTALL_INVITATION);
        const CAgentBranding& brand = GetBranding();
        SetText(IDC_AGREEMENT_LINK, FormatUiString(IDS_AGREEMENT_LINKS, brand.eulaUrl,
                                                   brand.privacyPolicyUrl));
    } else {
        // Without administrative rights the user can only close; the empty link control
        // would lie over the Close button.
        ShowControl(IDC_AGREEMENT_LINK, false);
        ShowControl(IDC_MAIN_BUTTON, false);
        ShowControl(IDC_STATUS, true);
        ShowControl(IDC_CLOSE_BUTTON, true);
        SetString(IDC_STATUS, IDS_NEEDS_ADMINISTRATOR);
    }
    ApplyFonts();

    if (beta) {
        ShowControl(IDC_BETA_LABEL, true);
        HWND badge = GetDlgItem(window_, IDC_BETA_LABEL);
        const BrandId brand = ActiveBrand();
        if (brand == kBrandOrv) {
            MoveControl(IDC_BETA_LABEL, -29, -1);
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
    if (id == IDC_MAIN_BUTTON) {
        StartInstallation();
    } else if (id == ID_WORK_COMPLETED) {
        ShowResult();
    } else if (id == IDC_OPEN_LOG_BUTTON) {
        OpenInstallLog();
    } else {
        HandleClosingCommand(id);
    }
}

void CInstallDialog::StartInstallation() {
    if (inProgress_)
        return;
    inProgress_ = true;
    ShowControl(IDC_AGREEMENT_LINK, false);
    ShowControl(IDC_MAIN_BUTTON, false);
    ShowControl(IDC_CANCEL_BUTTON, false);
    ShowControl(IDC_STATUS, true);
    MoveControl(IDC_STATUS, 0, 80);
    SetString(IDC_SUBTITLE, IDS_INSTALLATION_IN_PROGRESS);
    MoveControl(IDC_SUBTITLE, 0, 30);
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
        InstallerEnvironment environment;
        environment.trace = &run_record::ProcessTrace();
        AgentInstaller installer(GetSetupSettings(), GetBranding(), log, environment);
        status = installer.Install(this);
    }
    // The agent falls back to the system language; the installation's result is what counts.
    StoreAgentLanguage(GetSetupSettings().languageId);
    return status;
}

void CInstallDialog::ShowResult() {
    inProgress_ = false;
    StopProgress();
    MoveControl(IDC_TITLE, 0, 80);
    MoveControl(IDC_STATUS, 0, -40);
    ShowControl(IDC_SUBTITLE, false);
    ShowControl(IDC_RESULT_ICON, true);

    const std::int32_t result = result_;
    if (result >= 0) {
        SetResultIcon(true);
        SetString(IDC_CLOSE_BUTTON, IDS_FINISH);
        ShowControl(IDC_CLOSE_BUTTON, true);
    } else {
        SetResultIcon(false);
        ShowControl(IDC_OPEN_LOG_BUTTON, true);
        ShowControl(IDC_CANCEL_BUTTON, true);
        ShowControl(IDC_CLOSE_BUTTON, false);
    }

    switch (result) {
        case kStatusOk:
            SetStatusText(LoadUiString(IDS_INSTALLATION_COMPLETED).c_str());
            break;
        case kStatusRestartNeeded:
            SetStatusText(LoadUiString(IDS_COMPLETED_RESTART_REQUIRED).c_str());
            ShowControl(IDC_CLOSE_BUTTON, false);
            SetString(IDC_CANCEL_BUTTON, IDS_FINISH);
            MoveControl(IDC_CANCEL_BUTTON, -45, 0);
            ShowControl(IDC_CANCEL_BUTTON, true);
            SetString(IDC_RESTART_BUTTON, IDS_RESTART_NOW);
            ShowControl(IDC_RESTART_BUTTON, true);
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
    std::wstring path = file_sys::GetCommonAppDataFolder();
    if (path.empty()) {
        return;  // a path without it would be rooted at the current drive
    }
    for (const wchar_t* part : {GetBranding().programSubfolder, L"log", kInstallerLogFile}) {
        path = text_sys::JoinPath(path, part);
    }
    ShellOpen(path, SW_SHOWDEFAULT);
}
