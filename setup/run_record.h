#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The record of one run that deployment tools read ("-result PATH", and "lastrun.json" in
// the agent's log folder after an installation): what ran, how it ended, how long each step
// took. Built without the system, so that the host build tests and fuzzes it. It holds no
// secret: no token, password or envelope ever reaches it.
namespace run_record {

struct StepTime {
    std::string name;
    std::int64_t doMs = 0;
    std::int64_t undoMs = -1;  // -1: not undone
};

// What the step runner saw of a sequence.
struct SequenceTrace {
    std::vector<StepTime> steps;
    std::string failedStep;       // empty: none failed
    bool rollbackOpened = false;  // the failure came after the point a rollback starts
    bool undoFailed = false;      // an undo failed or threw; the rest still ran
};

struct Record {
    std::string setupVersion;
    std::uint32_t brand = 0;
    std::string mode = "none";  // install, uninstall, clone, handover, none
    std::uint32_t exitCode = 0;     // as the process ends
    std::uint32_t ownExitCode = 0;  // the program's own, before "-exitcodes msi"
    std::uint32_t status = 0;       // the installation's or removal's, where one ran
    SequenceTrace trace;
    std::string startedUtc;
    std::string endedUtc;
    std::string log;  // UTF-8 path of the installer's log
};

// One word for how the run ended: installed, installed-restart-required, removed,
// removed-restart-required, refused, rolled-back, failed-early, nothing-to-do, busy,
// bad-command-line.
std::string Outcome(const Record& record);
bool RestartRequired(const Record& record);

std::string ToJson(const Record& record);

// The trace of this process's run: the sequences of a silent run and of a window's worker
// both report here, so that the record sees the steps whichever way the run went.
SequenceTrace& ProcessTrace();

}  // namespace run_record
