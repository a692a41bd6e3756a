// The deployment guide's return-code tables against the program's codes, so that the guide
// cannot drift: each code it names exists, with its decimal form and conventional code, and
// each code the program has is in it.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "setup/exit_codes.h"

namespace {

std::string Read(const char* relative) {
    std::stringstream text;
    text << std::ifstream(std::string(HOLLIN_SOURCE_ROOT "/") + relative).rdbuf();
    return text.str();
}

std::set<std::uint32_t> CodesIn(const std::string& text, const char* pattern) {
    std::set<std::uint32_t> codes;
    const std::regex expression(pattern);
    for (std::sregex_iterator it(text.begin(), text.end(), expression), end; it != end; ++it) {
        codes.insert(static_cast<std::uint32_t>(std::stoul((*it)[1].str(), nullptr, 0)));
    }
    return codes;
}

std::uint32_t Code(const std::string& text) {
    return static_cast<std::uint32_t>(std::stoul(text, nullptr, 0));
}

TEST(DeploymentGuide, ReturnCodeTablesAgreeWithTheProgram) {
    std::set<std::uint32_t> known = CodesIn(Read("sys/status.h"), R"(ToStatus\((0x[0-9A-F]+)\))");
    for (std::uint32_t code : CodesIn(Read("app/entry.h"), R"(constexpr DWORD kExit\w+ = (\w+);)")) {
        known.insert(code);
    }
    known.insert(0);
    const std::map<std::uint32_t, std::string> classes = {
        {0, "success"}, {kMsiRestartNeeded, "soft reboot"},
        {kMsiAnotherInstallation, "retry"}, {kMsiNothingToRemove, "success"}};

    // "| code | decimal | meaning | with -exitcodes msi | class |" under the two headings.
    const std::regex row(R"(\| (0x[0-9A-F]{8}) \| (-?\d+) \| ([^|]+) \| (\w+) \| ([a-z ]+) \|)");
    std::stringstream guide(Read("docs/deployment.md"));
    RunMode mode = RunMode::kNone;
    std::set<std::uint32_t> named;
    int rows = 0;
    for (std::string line; std::getline(guide, line);) {
        std::smatch cells;
        if (line.rfind("#", 0) == 0) {
            mode = line.find("Return codes of an installation") != std::string::npos ? RunMode::kInstall
                   : line.find("Return codes of a removal") != std::string::npos  ? RunMode::kUninstall
                                                                                    : RunMode::kNone;
        } else if (mode != RunMode::kNone && std::regex_match(line, cells, row)) {
            SCOPED_TRACE(line);
            ++rows;
            const std::uint32_t code = Code(cells[1]);
            EXPECT_TRUE(known.count(code)) << "no code of the program";
            EXPECT_EQ(cells[2], std::to_string(static_cast<std::int32_t>(code)));
            // An installation that needs a restart ends with 0; the record's status tells.
            const std::string meaning = cells[3];
            const std::size_t status = meaning.find("status 0x");
            const RunEnd end{mode, true, code,
                             status != std::string::npos ? Code(meaning.substr(status + 7)) : code};
            const std::uint32_t conventional = ConventionalExitCode(end);
            EXPECT_EQ(Code(cells[4]), conventional);
            EXPECT_EQ(cells[5], classes.count(conventional) ? classes.at(conventional) : "failed");
            named.insert({code, end.status});
        }
    }
    EXPECT_GT(rows, 40);
    for (const std::uint32_t code : known) {
        EXPECT_TRUE(named.count(code)) << std::hex << code << " is missing from the guide";
    }
}

}  // namespace
