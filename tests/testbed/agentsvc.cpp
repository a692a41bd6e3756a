// The testbed's agent service executable. For now it knows one run:
//   agentsvc.exe --nodaemon --clone   ends at once with kCloneExitCode.
#include <windows.h>

#include <string>

#include "tests/testbed/agentsvc.h"

int wmain(int argc, wchar_t** argv) {
    bool noDaemon = false;
    bool clone = false;
    for (int i = 1; i < argc; ++i) {
        const std::wstring argument = argv[i];
        noDaemon = noDaemon || argument == L"--nodaemon";
        clone = clone || argument == L"--clone";
    }
    if (noDaemon && clone) {
        return static_cast<int>(kCloneExitCode);
    }
    return static_cast<int>(kUnknownRunExitCode);
}
