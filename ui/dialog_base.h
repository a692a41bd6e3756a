#pragma once

#include <cstdint>

// Base of the install and uninstall windows.
class CDialogBase {
public:
    CDialogBase() = default;
    CDialogBase(const CDialogBase&) = delete;
    CDialogBase& operator=(const CDialogBase&) = delete;
    virtual ~CDialogBase();

    // Creates and shows the window; the run ends when it posts the quit message.
    virtual bool Start(std::uint32_t languageId, bool beta) = 0;
};
