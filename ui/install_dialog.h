#pragma once

#include "ui/dialog_base.h"

// The windowed installation: one Install button, the creeping progress bar and the
// result screens.
class CInstallDialog final : public CDialogBase {
public:
    HWND Create(std::uint32_t languageId, bool beta) override;
    void OnCommand(HWND dialog, unsigned id) override;

private:
    std::int32_t RunWork(std::wstring& password) override;
    void StartInstallation();
    void ShowResult();
    void OpenInstallLog();
};

// "ver. a.b.c" from this program's version information, with " (debug)" for a debug run.
std::wstring VersionLine(bool debug);

// The failure line "<text> (<code in lower-case hex>)".
std::wstring FailureLine(unsigned textId, std::int32_t code);
