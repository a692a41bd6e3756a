#include "setup/exit_codes.h"

namespace {

// One code the program gives that a deployment tool reads otherwise.
struct Rule {
    RunMode mode;               // kNone: any run
    bool silentOnly;
    bool byStatus;              // matches the engine's status rather than the exit code
    std::uint32_t from;
    std::uint32_t to;
};

constexpr Rule kRules[] = {
    // A silent installation that needs a restart ends with 0; its status says why.
    {RunMode::kInstall, true, true, 0x10000005, kMsiRestartNeeded},
    // A removal whose folders go at the next restart.
    {RunMode::kUninstall, true, false, 0x80000052, kMsiRestartNeeded},
    {RunMode::kNone, false, false, 1, kMsiAnotherInstallation},
    {RunMode::kUninstall, false, false, 0x80000031, kMsiNothingToRemove},
};

}  // namespace

std::uint32_t ConventionalExitCode(const RunEnd& end) {
    for (const Rule& rule : kRules) {
        const bool modeMatches = rule.mode == RunMode::kNone || rule.mode == end.mode;
        const std::uint32_t seen = rule.byStatus ? end.status : end.exitCode;
        if (modeMatches && (end.silent || !rule.silentOnly) && seen == rule.from &&
            (!rule.byStatus || end.exitCode == 0)) {
            return rule.to;
        }
    }
    return end.exitCode;
}
