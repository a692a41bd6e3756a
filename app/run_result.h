#pragma once

#include <windows.h>

#include <string>

#include "setup/exit_codes.h"

// The run's record for deployment tools (setup/run_record.h): begun with the run, written at
// its end to the path "-result" names and, after an installation, as "lastrun.json" in the
// agent's log folder. Each is written new and moved into place; a link at the path is
// refused, so that an elevated run writes nowhere a user pointed it.
class RunRecorder {
public:
    RunRecorder();
    void Write(const RunEnd& end, DWORD exitCode, const std::wstring& resultPath) const;

private:
    std::string startedUtc_;
};
