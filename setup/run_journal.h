#pragma once

#include <map>
#include <optional>
#include <string>

#include "sys/status.h"

// What a run in progress has done to the machine, kept in a registry key below the agent's
// (only administrators write there) and flushed at every note, so that a run killed at any
// moment leaves the next run what it needs to finish that run's business (setup/recovery.h).
// A run notes a change before it makes it, with the names it will use, so that a kill
// between the two leaves nothing unknown.
class RunJournal {
public:
    RunJournal() = default;
    RunJournal(const RunJournal&) = delete;
    RunJournal& operator=(const RunJournal&) = delete;
    // Whatever the way out of a run, one that ends leaves no journal.
    ~RunJournal() { End(); }

    // Starts the journal of this process's run of the kind ("install", "removal").
    Status Begin(const wchar_t* kind);
    // Nothing is noted before Begin.
    void Note(const wchar_t* name, const std::wstring& value);
    void End();

private:
    bool begun_ = false;
};

struct JournalRecord {
    std::map<std::wstring, std::wstring> values;

    std::wstring Get(const wchar_t* name) const;
    bool Has(const wchar_t* name) const { return values.count(name) != 0; }
    // How long ago the run began, in seconds.
    long long SecondsSinceStart() const;
};

// The journal of a run that did not end; none when there is none, or when the process that
// wrote it still runs.
std::optional<JournalRecord> ReadInterruptedJournal();
void RemoveJournal();
