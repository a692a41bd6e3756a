#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "setup/logging.h"
#include "setup/run_record.h"
#include "sys/status.h"

// One named piece of a sequence. Do changes the machine; Undo puts back what Do changed,
// also after Do failed half-way, so a step remembers what it did. Undo never stops at its
// own failure: it logs it, and the rest of the undoing goes on.
class Step {
public:
    virtual ~Step() = default;
    virtual Status Do() = 0;
    virtual void Undo() {}
};

enum StepFlags : unsigned {
    kStepPlain = 0,
    // Its failure ends the run without the sequence's failure report; the step logged why.
    kStepQuietFailure = 1u << 0,
    // Once it is done, every later failure is a rollback rather than an early failure.
    kStepOpensRollback = 1u << 1,
    // Its Undo looks at the machine, not at what the step did, and runs in every rollback.
    kStepUndoInEveryRollback = 1u << 2,
};

struct SequenceStep {
    const char* name;
    std::unique_ptr<Step> step;
    unsigned flags = kStepPlain;
};

// The lines a sequence writes on its ways out; any may be empty.
struct SequenceEndings {
    std::function<void(Status)> earlyFailure;    // before the undoing of an early failure
    std::function<void(Status)> rollbackBegins;  // before the undoing of a rollback
    std::function<void(Status)> rollbackEnds;    // after it
};

// Runs the steps in their order. When one fails, the steps that were begun are undone in the
// sequence's own undo order, which need not be the reverse of the order of doing.
class StepRunner {
public:
    using FaultHook = Status (*)(const char* name);

    StepRunner(CLogging& log, const char* function, std::vector<SequenceStep> steps,
               std::vector<const char*> undoOrder, SequenceEndings endings);

    // For tests only: called with the step's name before each Do, with "undo-" and the name
    // before each Undo and with "end" after the last step; a failing status makes that Do or
    // Undo fail. It may throw.
    void SetFaultHook(FaultHook hook) { faultHook_ = hook; }
    // Where the steps' times, the failing step and the rollback's course go; may be null.
    void SetTrace(run_record::SequenceTrace* trace) { trace_ = trace; }

    // The first failing status, or kStatusOk when every step was done.
    Status Run();

private:
    Status DoStep(SequenceStep& entry);
    void UndoStep(SequenceStep& entry);
    bool TryUndo(SequenceStep& entry);
    void UndoBegun(bool rollback);
    SequenceStep* Find(const char* name);
    run_record::StepTime* TimeOf(const char* name);

    CLogging& log_;
    const char* function_;
    std::vector<SequenceStep> steps_;
    std::vector<const char*> undoOrder_;
    SequenceEndings endings_;
    FaultHook faultHook_ = nullptr;
    run_record::SequenceTrace* trace_ = nullptr;
    std::vector<const SequenceStep*> begun_;
};
