#include "setup/run_record.h"

#include <cstdio>

namespace run_record {
namespace {

constexpr std::uint32_t kRestartNeeded = 0x10000005;
constexpr std::uint32_t kRemovalAtRestart = 0x80000052;
constexpr std::uint32_t kMissingParameters = 0x80000017;  // on removal: the password refused
constexpr std::uint32_t kNotAdministrator = 0x80000060;
constexpr std::uint32_t kNothingInstalled = 0x80000031;
constexpr std::uint32_t kCannotStartProgram = 0x80000157;

std::string Hex(std::uint32_t code) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08X", code);
    return text;
}

// A JSON string: quotes, backslashes and control characters escaped; other bytes as they
// are (the texts are UTF-8).
std::string Quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const unsigned char c : text) {
        if (c == '"' || c == '\\') {
            quoted += '\\';
            quoted += static_cast<char>(c);
        } else if (c < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof(escaped), "\\u%04x", c);
            quoted += escaped;
        } else {
            quoted += static_cast<char>(c);
        }
    }
    return quoted + "\"";
}

// The words that do not depend on whether the run got anywhere.
const char* EndBeforeAnyWork(const Record& record) {
    const std::uint32_t own = record.ownExitCode;
    if (record.mode == "none" && own == kMissingParameters) {
        return "bad-command-line";
    }
    if (own == 1) {
        return "busy";
    }
    if (own == 4 || own == 5 || own == kNothingInstalled) {
        return "nothing-to-do";  // 5: a silent removal found no agent running
    }
    if (own == kNotAdministrator || (record.mode == "uninstall" && own == kMissingParameters)) {
        return "refused";
    }
    return nullptr;
}

}  // namespace

SequenceTrace& ProcessTrace() {
    static SequenceTrace trace;
    return trace;
}

bool RestartRequired(const Record& record) {
    return (record.mode == "install" && record.ownExitCode == 0 &&
            record.status == kRestartNeeded) ||
           (record.mode == "uninstall" && record.ownExitCode == kRemovalAtRestart);
}

std::string Outcome(const Record& record) {
    if (const char* word = EndBeforeAnyWork(record)) {
        return word;
    }
    const bool succeeded = record.ownExitCode == 0 || RestartRequired(record);
    if (record.mode == "clone" || record.mode == "handover") {
        // The program started another and passes its code on; it changed nothing itself.
        return record.ownExitCode == kCannotStartProgram ? "failed-early" : "nothing-to-do";
    }
    if (succeeded && record.trace.steps.empty()) {
        return "nothing-to-do";  // a window closed before it began
    }
    if (succeeded && record.mode == "install") {
        return RestartRequired(record) ? "installed-restart-required" : "installed";
    }
    if (succeeded && record.mode == "uninstall") {
        return RestartRequired(record) ? "removed-restart-required" : "removed";
    }
    return record.trace.rollbackOpened ? "rolled-back" : "failed-early";
}

std::string ToJson(const Record& record) {
    // Written by hand: the build's JSON library carries no writer, and the shape is fixed.
    std::string failed = record.trace.failedStep.empty() ? "null" : Quoted(record.trace.failedStep);
    std::string steps;
    for (const StepTime& step : record.trace.steps) {
        steps += std::string(steps.empty() ? "" : ",") + "\n    {\"name\": " + Quoted(step.name) +
                 ", \"doMs\": " + std::to_string(step.doMs) +
                 (step.undoMs >= 0 ? ", \"undoMs\": " + std::to_string(step.undoMs) : "") + "}";
    }
    const auto flag = [](bool on) { return on ? "true" : "false"; };
    return "{\n  \"schema\": 1,\n  \"setupVersion\": " + Quoted(record.setupVersion) +
           ",\n  \"brand\": " + std::to_string(record.brand) +
           ",\n  \"mode\": " + Quoted(record.mode) +
           ",\n  \"exitCode\": \"" + Hex(record.exitCode) + "\"" +
           ",\n  \"exitCodeDecimal\": " +
           std::to_string(static_cast<std::int32_t>(record.exitCode)) +
           ",\n  \"status\": \"" + Hex(record.status) + "\"" +
           ",\n  \"outcome\": " + Quoted(Outcome(record)) +
           ",\n  \"restartRequired\": " + flag(RestartRequired(record)) +
           ",\n  \"failedStep\": " + failed +
           ",\n  \"rollbackComplete\": " +
           flag(record.trace.rollbackOpened && !record.trace.undoFailed) +
           ",\n  \"steps\": [" + steps + (steps.empty() ? "]" : "\n  ]") +
           ",\n  \"startedUtc\": " + Quoted(record.startedUtc) +
           ",\n  \"endedUtc\": " + Quoted(record.endedUtc) +
           ",\n  \"log\": " + Quoted(record.log) + "\n}\n";
}

}  // namespace run_record
