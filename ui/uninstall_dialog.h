#pragma once

#include "ui/dialog_base.h"

// The windowed uninstallation: confirmation, the password when the device's policy asks
// for one, a retry after a wrong password, and the result screens.
class CUninstallDialog final : public CDialogBase {
public:
    HWND Create(std::uint32_t languageId, bool beta) override;
    void OnCommand(HWND dialog, unsigned id) override;

private:
    std::int32_t RunWork(std::wstring& password) override;
    void StartUninstallation();
    void ShowResult();
};
