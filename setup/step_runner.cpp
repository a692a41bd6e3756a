#include "setup/step_runner.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <exception>
#include <string>

#include "setup/branding/branding.h"
#include "sys/text_sys.h"

namespace {

std::int64_t MillisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now() - start)
        .count();
}

std::wstring ExceptionText() {
    try {
        throw;
    } catch (const std::exception& error) {
        return text_sys::Widen(error.what());
    } catch (...) {
    }
    return L"not a standard exception";
}

}  // namespace

StepRunner::StepRunner(CLogging& log, const char* function, std::vector<SequenceStep> steps,
                       std::vector<const char*> undoOrder, SequenceEndings endings)
    : log_(log),
      function_(function),
      steps_(std::move(steps)),
      undoOrder_(std::move(undoOrder)),
      endings_(std::move(endings)) {}

SequenceStep* StepRunner::Find(const char* name) {
    for (SequenceStep& entry : steps_) {
        if (std::strcmp(entry.name, name) == 0) {
            return &entry;
        }
    }
    return nullptr;
}

run_record::StepTime* StepRunner::TimeOf(const char* name) {
    if (trace_ == nullptr) {
        return nullptr;
    }
    for (run_record::StepTime& time : trace_->steps) {
        if (time.name == name) {
            return &time;
        }
    }
    return nullptr;
}

Status StepRunner::Run() {
    bool rollbackOpen = false;
    for (SequenceStep& entry : steps_) {
        const Status status = DoStep(entry);
        if (!Failed(status)) {
            rollbackOpen = rollbackOpen || (entry.flags & kStepOpensRollback) != 0;
            continue;
        }
        if (trace_ != nullptr) {
            trace_->failedStep = entry.name;
            trace_->rollbackOpened = rollbackOpen;
        }
        const bool quiet = (entry.flags & kStepQuietFailure) != 0 &&
                           status != kStatusUnexpectedException;
        if (rollbackOpen && endings_.rollbackBegins) {
            endings_.rollbackBegins(status);
        } else if (!rollbackOpen && !quiet && endings_.earlyFailure) {
            endings_.earlyFailure(status);
        }
        UndoBegun(rollbackOpen);
        if (rollbackOpen && endings_.rollbackEnds) {
            endings_.rollbackEnds(status);
        }
        return status;
    }
    if (faultHook_ != nullptr) {
        faultHook_("end");
    }
    return kStatusOk;
}

Status StepRunner::DoStep(SequenceStep& entry) {
    try {
        if (faultHook_ != nullptr) {
            const Status injected = faultHook_(entry.name);
            if (Failed(injected)) {
                return injected;
            }
        }
        begun_.push_back(&entry);
        log_.Trace(entry.name);  // the log then tells where a run stopped, and when
        const auto start = std::chrono::steady_clock::now();
        const Status status = entry.step->Do();
        if (trace_ != nullptr) {
            trace_->steps.push_back({entry.name, MillisecondsSince(start)});
        }
        return status;
    } catch (const UnknownBrandError&) {
        throw;  // the entry turns it into its own exit code
    } catch (...) {
        log_.Error(function_, L"unexpected exception: " + ExceptionText(),
                   kStatusUnexpectedException);
    }
    return kStatusUnexpectedException;
}

void StepRunner::UndoBegun(bool rollback) {
    for (const char* name : undoOrder_) {
        SequenceStep* entry = Find(name);
        if (entry == nullptr) {
            continue;
        }
        const bool begun = std::find(begun_.begin(), begun_.end(), entry) != begun_.end();
        if (begun || (rollback && (entry->flags & kStepUndoInEveryRollback) != 0)) {
            UndoStep(*entry);
        }
    }
}

void StepRunner::UndoStep(SequenceStep& entry) {
    const auto start = std::chrono::steady_clock::now();
    const bool undone = TryUndo(entry);
    if (trace_ != nullptr) {
        trace_->undoFailed = trace_->undoFailed || !undone;
        if (run_record::StepTime* time = TimeOf(entry.name)) {
            time->undoMs = MillisecondsSince(start);
        }
    }
}

bool StepRunner::TryUndo(SequenceStep& entry) {
    // A failing undo is logged and the next one runs: half a rollback beats none.
    try {
        if (faultHook_ != nullptr) {
            const Status injected = faultHook_(("undo-" + std::string(entry.name)).c_str());
            if (Failed(injected)) {
                log_.Error(function_, L"could not undo the step " + text_sys::Widen(entry.name),
                           injected);
                return false;
            }
        }
        entry.step->Undo();
        return true;
    } catch (...) {
        log_.Error(function_,
                   L"unexpected exception while undoing the step " +
                       text_sys::Widen(entry.name) + L": " + ExceptionText(),
                   kStatusUnexpectedException);
    }
    return false;
}
