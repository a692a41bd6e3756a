#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "sys/process_sys.h"
#include "sys/scope_exit.h"
#include "sys/unique_handle.h"
#include "tests/support/test_support.h"

namespace {

using namespace process_sys;
using test_support::BinFolder;

std::wstring ChildCommand(const std::wstring& arguments) {
    return BuildCommandLine(BinFolder() + L"\\test_child.exe", arguments.c_str());
}

std::wstring CaptureFrom(const std::wstring& arguments) {
    ChildProcess child(ChildCommand(arguments), ChildStreams::kOutput);
    EXPECT_TRUE(child.Started());
    std::wstring output = child.ReadOutput();
    EXPECT_EQ(child.Wait(10000), kStatusOk);
    return output;
}

TEST(ProcessOutput, CapturesStdoutAndTrimsOneCrLf) {
    EXPECT_EQ(CaptureFrom(L"out hello\\r\\n"), L"hello");
    EXPECT_EQ(CaptureFrom(L"out two\\r\\n\\r\\n"), L"two\r\n");
    EXPECT_EQ(CaptureFrom(L"out lf-only\\n"), L"lf-only\n");
    EXPECT_EQ(CaptureFrom(L"exit 0"), L"");
    // More than one read buffer, written in pieces while the parent reads.
    std::wstring digits;
    for (int i = 0; i < 700; ++i) {
        digits += L"0123456789";
    }
    EXPECT_EQ(CaptureFrom(L"repeat 700 0123456789"), digits);
}

// Real tools misbehave: some never end, some write megabytes of errors nobody reads. That
// the limit holds shows in install_steps_test (SystemInfo); here what was read by then.
TEST(ProcessOutput, ReadingIsBoundedAndErrorsNeverStallTheChild) {
    ChildProcess endless(ChildCommand(L"out partial sleep 60000"), ChildStreams::kOutput);
    ASSERT_TRUE(endless.Started());
    EXPECT_EQ(endless.ReadOutput(1500), L"partial");
    TerminateProcess(endless.Process(), 1);

    // Far more than a pipe holds, on the error stream, before the one line that counts.
    ChildProcess noisy(ChildCommand(L"errrepeat 20000 " + std::wstring(64, L'e') + L" out done"),
                       ChildStreams::kOutput);
    ASSERT_TRUE(noisy.Started());
    EXPECT_EQ(noisy.ReadOutput(20000), L"done");
    EXPECT_EQ(noisy.Wait(20000), kStatusOk);
}

TEST(ProcessWait, LimitsAndExitCodes) {
    ChildProcess quick(ChildCommand(L"exit 42"), ChildStreams::kInherit);
    ASSERT_TRUE(quick.Started());
    EXPECT_EQ(quick.Wait(0), kStatusOk);  // 0: no limit
    DWORD code = 0;
    ASSERT_TRUE(GetExitCodeProcess(quick.Process(), &code));
    EXPECT_EQ(code, 42u);

    ChildProcess slow(ChildCommand(L"sleep 20000"), ChildStreams::kOutput);
    ASSERT_TRUE(slow.Started());
    EXPECT_EQ(slow.Wait(200), kStatusWaitFailed);
    EXPECT_EQ(WaitForSingleObject(slow.Process(), 0), static_cast<DWORD>(WAIT_TIMEOUT))
        << "a timed-out wait must not end the child";
    TerminateProcess(slow.Process(), 1);

    ChildProcess missing(L"\"C:\\no\\such\\program.exe\"", ChildStreams::kOutput);
    EXPECT_FALSE(missing.Started());
}

// Children find the programs beside setup.exe: its folder ends the PATH however it is
// spelt, and without a PATH the block is passed on as it is.
TEST(ProcessEnvironment, ChildrenFindProgramsBesideSetup) {
    wchar_t saved[32767] = {};
    GetEnvironmentVariableW(L"PATH", saved, 32767);
    const ScopeExit restore([&] { SetEnvironmentVariableW(L"PATH", saved); });
    EXPECT_EQ(CaptureFrom(L"env PATH"), std::wstring(saved) + L";" + BinFolder());
    auto entries = [](const wchar_t* block) {
        std::vector<std::wstring> entries;
        for (const wchar_t* p = block; *p != L'\0'; p += wcslen(p) + 1) {
            entries.emplace_back(p);
        }
        return entries;
    };
    SetEnvironmentVariableW(L"PATH", nullptr);
    wchar_t* current = GetEnvironmentStringsW();
    const std::vector<wchar_t> unchanged = GetModifiedPath();
    EXPECT_EQ(entries(unchanged.data()), entries(current));
    FreeEnvironmentStringsW(current);
    ASSERT_GE(unchanged.size(), 2u);
    EXPECT_EQ(std::wstring(unchanged.end() - 2, unchanged.end()), std::wstring(2, L'\0'));

    SetEnvironmentVariableW(L"Path", L"C:\\tools");
    const std::vector<std::wstring> withPath = entries(GetModifiedPath().data());
    EXPECT_NE(std::find(withPath.begin(), withPath.end(), L"Path=C:\\tools;" + BinFolder()),
              withPath.end());
}

TEST(ProcessIdentity, OwnProcessQueries) {
    EXPECT_EQ(GetPidsByName(L"PROCESS_TESTS.EXE").count(GetCurrentProcessId()), 1u)
        << "names are matched without regard to case";
    EXPECT_TRUE(GetPidsByName(L"no_such_program.exe").empty());
    EXPECT_FALSE(IsRunningAsLocalSystem());
    bool wasEnabled = false;
    EXPECT_TRUE(EnableShutdownPrivilege(wasEnabled));
    EXPECT_EQ(FolderOf(L"\\x.exe"), L"\\");
}

bool IsOpen(HANDLE handle) {
    DWORD flags = 0;
    return GetHandleInformation(handle, &flags) != FALSE;
}

// A second close can hit whatever handle was opened meanwhile under the same value, so each
// hand-over must leave exactly one holder that closes.
TEST(UniqueHandle, ClosesOnlyThroughItsLastOwner) {
    HANDLE first = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE second = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ASSERT_TRUE(IsOpen(first) && IsOpen(second));

    UniqueKernelHandle kept;
    {
        UniqueKernelHandle moved(first);
        kept = std::move(moved);
    }
    EXPECT_TRUE(IsOpen(first));

    *kept.Put() = second;
    EXPECT_FALSE(IsOpen(first));

    UniqueKernelHandle taken(kept.Release());
    kept.Reset();
    EXPECT_TRUE(IsOpen(second));
    taken.Reset();
    EXPECT_FALSE(IsOpen(second));
}

}  // namespace
