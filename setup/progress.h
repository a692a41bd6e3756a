#pragma once

// What a running install or uninstall sequence reports as it passes its stages. The windows
// turn stages into texts in their language; a silent run has no receiver.
enum class Stage {
    kInitialising,
    kStoppingServices,
    kDownloadingPolicy,
    kInstallingNetFramework,
    kCopyingFiles,
    kInstallingAgent,
    kRollingBack,
    kRemovingFiles,
};

class IProgress {
public:
    virtual void Report(Stage stage) = 0;

protected:
    ~IProgress() = default;
};
