#include <gtest/gtest.h>
#include <json/json.h>

#include <memory>

#include "setup/exit_codes.h"
#include "setup/run_record.h"

namespace {

// Only the four ends a deployment tool reads otherwise change; the same codes in another
// mode, or from a windowed run where a restart is concerned, stay as they are. (Every
// silent end is also checked against docs/deployment.md by tests/host.)
TEST(ConventionalExitCodes, OnlyRestartBusyAndNothingToRemoveChange) {
    using enum RunMode;
    struct Case {
        RunEnd end;
        std::uint32_t expected;
    } cases[] = {
        {{kInstall, true, 0, 0x10000005}, 3010},
        {{kInstall, false, 0, 0x10000005}, 0},
        {{kInstall, true, 0x80000017, 0x10000005}, 0x80000017},  // the language failed after
        {{kUninstall, false, 0x80000052, 0x80000052}, 0x80000052},
        {{kInstall, true, 0x80000052, 0x80000052}, 0x80000052},  // an install's own meaning
        {{kUninstall, false, 1, 0}, 1618},
        {{kUninstall, false, 0x80000031, 0x80000031}, 1605},
        {{kInstall, true, 0x80000031, 0x80000031}, 0x80000031},
    };
    for (const Case& one : cases) {
        EXPECT_EQ(ConventionalExitCode(one.end), one.expected)
            << std::hex << one.end.exitCode << " status " << one.end.status << " mode "
            << static_cast<int>(one.end.mode) << " silent " << one.end.silent;
    }
}

// The words a deployment tool branches on, for the ends the program's codes can have.
TEST(RunRecord, OutcomeOfEachEnd) {
    struct Case {
        const char* mode;
        std::uint32_t ownExitCode;
        std::uint32_t status;
        bool rollbackOpened;
        bool stepsRan;
        const char* outcome;
    } cases[] = {
        {"install", 0, 0, false, true, "installed"},
        {"install", 0, 0x10000005, false, true, "installed-restart-required"},
        {"install", 0, 0, false, false, "nothing-to-do"},  // a window closed at once
        {"install", 0x8000FA17, 0x8000FA17, true, true, "rolled-back"},
        {"install", 0x80000064, 0x80000064, false, true, "failed-early"},
        {"install", 0x80000060, 0, false, false, "refused"},
        {"uninstall", 0, 0, false, true, "removed"},
        {"uninstall", 0x80000052, 0x80000052, false, true, "removed-restart-required"},
        {"uninstall", 0x80000017, 0x80000017, false, true, "refused"},
        {"uninstall", 5, 0, false, false, "nothing-to-do"},
        {"uninstall", 0x80000031, 0x80000031, false, true, "nothing-to-do"},
        {"none", 0x80000017, 0, false, false, "bad-command-line"},
        {"install", 1, 0, false, false, "busy"},
        {"handover", 0x80000157, 0, false, false, "failed-early"},
        {"clone", 0xC10E, 0, false, false, "nothing-to-do"},
    };
    for (const Case& one : cases) {
        run_record::Record record;
        record.mode = one.mode;
        record.ownExitCode = one.ownExitCode;
        record.status = one.status;
        record.trace.rollbackOpened = one.rollbackOpened;
        if (one.stepsRan) {
            record.trace.steps.push_back({"copy-files", 5});
        }
        EXPECT_EQ(run_record::Outcome(record), one.outcome) << one.mode << " " << std::hex
                                                            << one.ownExitCode;
    }
}

// Any text in a field leaves the record valid JSON that gives the text back.
TEST(RunRecord, ValidJsonWhateverItsTexts) {
    run_record::Record record;
    record.mode = "install";
    record.exitCode = 0x80000064;
    record.log = "C:\\Program\"Data\\log\n\x01\xC3\xA9";
    record.trace = {{{"copy-files", 12, 3}, {"place-config", 4}}, "place-config", true, false};
    const std::string text = run_record::ToJson(record);
    Json::Value parsed;
    std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    ASSERT_TRUE(reader->parse(text.data(), text.data() + text.size(), &parsed, nullptr)) << text;
    EXPECT_EQ(parsed["log"].asString(), record.log);
    EXPECT_EQ(parsed["exitCode"].asString(), "0x80000064");
    EXPECT_EQ(parsed["exitCodeDecimal"].asInt(), -2147483548);
    EXPECT_EQ(parsed["failedStep"].asString(), "place-config");
    EXPECT_TRUE(parsed["rollbackComplete"].asBool());
    EXPECT_EQ(parsed["steps"][0]["undoMs"].asInt(), 3);
    EXPECT_FALSE(parsed["steps"][1].isMember("undoMs"));
}

}  // namespace
