#include "app/run_result.h"

#include <array>
#include <cstdio>

#include "setup/agent_folders.h"
#include "setup/branding/branding.h"
#include "setup/logging.h"
#include "setup/run_record.h"
#include "sys/append_file.h"
#include "sys/file_sys.h"
#include "sys/text_sys.h"
#include "sys/utc_clock.h"

namespace {

const char* ModeWord(RunMode mode) {
    switch (mode) {
        case RunMode::kInstall: return "install";
        case RunMode::kUninstall: return "uninstall";
        case RunMode::kClone: return "clone";
        case RunMode::kHandover: return "handover";
        case RunMode::kNone: break;
    }
    return "none";
}

std::string Utf8(const std::wstring& wide) {
    std::string utf8;
    text_sys::WideToUtf8(wide, utf8);
    return utf8;
}

std::string OwnVersion() {
    std::array<std::uint16_t, 4> version{};
    if (Failed(file_sys::GetFileVersion(version))) {
        return {};
    }
    char text[32];
    std::snprintf(text, sizeof(text), "%u.%u.%u.%u", version[0], version[1], version[2],
                  version[3]);
    return text;
}

// A build whose version information names no brand has none.
const CAgentBranding* Brand() {
    try {
        return &GetBranding();
    } catch (const UnknownBrandError&) {
        return nullptr;
    }
}

void WriteTo(const std::wstring& path, const std::string& json) {
    // A relative path would be the system folder's, where the run stands.
    if (!file_sys::IsAbsolutePath(path)) {
        const std::wstring line = L"setup: no run record, the path is not absolute: " + path;
        OutputDebugStringW((line + L"\n").c_str());
        return;
    }
    if (file_sys::IsLink(path) || Failed(file_sys::WriteWholeFile(path, json))) {
        const std::wstring line = L"setup: the run record could not be written: " + path;
        OutputDebugStringW((line + L"\n").c_str());
    }
}

}  // namespace

RunRecorder::RunRecorder() : startedUtc_(utc_clock::NowText()) {}

void RunRecorder::Write(const RunEnd& end, DWORD exitCode, const std::wstring& resultPath) const {
    const CAgentBranding* brand = Brand();
    run_record::Record record;
    record.setupVersion = OwnVersion();
    record.brand = brand != nullptr ? static_cast<std::uint32_t>(brand->id) : 0u;
    record.mode = ModeWord(end.mode);
    record.exitCode = exitCode;
    record.ownExitCode = end.exitCode;
    record.status = end.status;
    record.trace = run_record::ProcessTrace();
    record.startedUtc = startedUtc_;
    record.endedUtc = utc_clock::NowText();
    const std::wstring logFolder =
        brand != nullptr ? agent_folders::DataFolder(*brand) + L"\\log" : std::wstring();
    record.log = brand != nullptr ? Utf8(logFolder + L"\\" + kInstallerLogFile) : "";
    const std::string json = run_record::ToJson(record);
    if (!resultPath.empty()) {
        WriteTo(resultPath, json);
    }
    // Only into a log folder an installation made: never a folder of the run's own making.
    if (end.mode == RunMode::kInstall && !record.trace.steps.empty() && !logFolder.empty() &&
        GetFileAttributesW(logFolder.c_str()) != INVALID_FILE_ATTRIBUTES) {
        WriteTo(logFolder + L"\\lastrun.json", json);
    }
}
