#pragma once

#include <cstdint>

// Deployment tools read the Windows Installer's exit codes: 0 success, 3010 success with a
// restart needed, 1618 another installation runs (retry), 1605 nothing to remove, anything
// else a failure. "-exitcodes msi" asks for them; without it the program's own codes stand.
enum class RunMode { kNone, kInstall, kUninstall, kClone, kHandover };

struct RunEnd {
    RunMode mode = RunMode::kNone;
    bool silent = false;
    std::uint32_t exitCode = 0;  // the program's own
    std::uint32_t status = 0;    // the installation's or removal's, where one ran
};

inline constexpr std::uint32_t kMsiRestartNeeded = 3010;
inline constexpr std::uint32_t kMsiAnotherInstallation = 1618;
inline constexpr std::uint32_t kMsiNothingToRemove = 1605;

// The code a deployment tool expects for the run's end; every code no rule names is kept.
std::uint32_t ConventionalExitCode(const RunEnd& end);
