#pragma once

// Receives the status texts of a running install or uninstall sequence.
class IProgressCallback {
public:
    virtual void SetStatusText(const wchar_t* text) = 0;

protected:
    ~IProgressCallback() = default;
};
