#include <gtest/gtest.h>

#include <chrono>
#include <utility>
#include <vector>

#include "sys/process_sys.h"
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
    EXPECT_EQ(CaptureFrom(L"out plain"), L"plain");
    EXPECT_EQ(CaptureFrom(L"exit 0"), L"");
    // More than one read buffer, written in pieces while the parent reads.
    EXPECT_EQ(CaptureFrom(L"repeat 700 0123456789"), [] {
        std::wstring expected;
        for (int i = 0; i < 700; ++i) {
            expected += L"0123456789";
        }
        return expected;
    }());
}

// Real tools misbehave: some never end, some write megabytes of errors nobody reads.
TEST(ProcessOutput, ReadingIsBoundedAndErrorsNeverStallTheChild) {
    ChildProcess endless(ChildCommand(L"out partial sleep 60000"), ChildStreams::kOutput);
    ASSERT_TRUE(endless.Started());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(endless.ReadOutput(1500), L"partial");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
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

TEST(ProcessWait, SecondProcessByName) {
    test_support::TempFolder folder;
    const std::wstring name = L"second_" + std::to_wstring(GetCurrentProcessId()) + L".exe";
    test_support::CopyBuiltProgram(L"test_child.exe", folder.Path(), name);

    // Without a limit the second process is only looked at once.
    ChildProcess second(BuildCommandLine(folder / name, L"sleep 3000 exit 9"),
                        ChildStreams::kInherit);
    ASSERT_TRUE(second.Started());
    std::uint32_t secondCode = 0;
    ChildProcess first(ChildCommand(L"exit 0"), ChildStreams::kInherit);
    first.SetSecondProcess(name.c_str(), &secondCode);
    EXPECT_EQ(first.Wait(0), kStatusWaitFailed);
    EXPECT_EQ(secondCode, 0u);

    // Names are matched without regard to case.
    std::wstring upper = name;
    for (wchar_t& c : upper) {
        c = towupper(c);
    }
    EXPECT_EQ(GetPidsByName(upper), std::set<DWORD>{second.ProcessId()});
    EXPECT_TRUE(GetPidsByName(L"no_such_program.exe").empty());

    ChildProcess waiting(ChildCommand(L"exit 0"), ChildStreams::kInherit);
    waiting.SetSecondProcess(upper.c_str(), &secondCode);
    EXPECT_EQ(waiting.Wait(30000), kStatusOk);
    EXPECT_EQ(secondCode, 9u);
}

// Saves the PATH variable and puts it back, whatever the test did to it.
class ProcessEnvironment : public ::testing::Test {
protected:
    void SetUp() override {
        wchar_t buffer[32767] = {};
        GetEnvironmentVariableW(L"PATH", buffer, 32767);
        savedPath_ = buffer;
    }
    void TearDown() override {
        SetEnvironmentVariableW(L"PATH", nullptr);
        SetEnvironmentVariableW(L"PATH", savedPath_.c_str());
    }
    static std::vector<std::wstring> Entries(const std::vector<wchar_t>& block) {
        std::vector<std::wstring> entries;
        for (const wchar_t* p = block.data(); *p != L'\0'; p += wcslen(p) + 1) {
            entries.emplace_back(p);
        }
        return entries;
    }
    std::wstring savedPath_;
};

TEST_F(ProcessEnvironment, ChildrenFindProgramsBesideSetup) {
    const std::wstring path = CaptureFrom(L"env PATH");
    EXPECT_EQ(path, savedPath_ + L";" + BinFolder());

    SetEnvironmentVariableW(L"PATH", nullptr);
    SetEnvironmentVariableW(L"Path", L"C:\\tools");
    std::vector<std::wstring> entries = Entries(GetModifiedPath());
    EXPECT_NE(std::find(entries.begin(), entries.end(), L"Path=C:\\tools;" + BinFolder()),
              entries.end());
}

TEST_F(ProcessEnvironment, WithoutPathTheBlockIsUnchanged) {
    SetEnvironmentVariableW(L"PATH", nullptr);
    std::vector<std::wstring> current;
    if (wchar_t* block = GetEnvironmentStringsW()) {
        for (const wchar_t* p = block; *p != L'\0'; p += wcslen(p) + 1) {
            current.emplace_back(p);
        }
        FreeEnvironmentStringsW(block);
    }
    const std::vector<wchar_t> modified = GetModifiedPath();
    EXPECT_EQ(Entries(modified), current);
    ASSERT_GE(modified.size(), 2u);
    EXPECT_EQ(modified[modified.size() - 1], L'\0');
    EXPECT_EQ(modified[modified.size() - 2], L'\0');
}

TEST(ProcessIdentity, OwnProcessQueries) {
    EXPECT_FALSE(IsRunningAsLocalSystem());
    bool wasEnabled = false;
    EXPECT_TRUE(EnableShutdownPrivilege(wasEnabled));
    EXPECT_EQ(GetModulePath(), BinFolder() + L"\\process_tests.exe");
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
