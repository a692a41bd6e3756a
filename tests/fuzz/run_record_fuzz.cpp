// The run record with texts from outside (a step's name, the log's path, the version) and
// any codes: it stays JSON that gives each text back, and its outcome is one of the words
// deployment tools branch on.
#include <json/json.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "setup/run_record.h"
#include "tests/fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 13) {
        return 0;
    }
    std::uint32_t codes[3];
    std::memcpy(codes, data, sizeof(codes));
    const char* modes[] = {"install", "uninstall", "clone", "handover", "none"};
    // The texts: the rest of the input, cut at every NUL.
    std::vector<std::string> texts(1);
    for (std::size_t i = 13; i < size; ++i) {
        data[i] == 0 ? void(texts.emplace_back()) : texts.back().push_back(static_cast<char>(data[i]));
    }
    texts.resize(std::max<std::size_t>(texts.size(), 3));

    run_record::Record record;
    record.mode = modes[data[12] % 5];
    record.exitCode = codes[0];
    record.ownExitCode = codes[1];
    record.status = codes[2];
    record.setupVersion = texts[0];
    record.log = texts[1];
    record.trace.failedStep = texts[2];
    record.trace.rollbackOpened = (data[12] & 0x10) != 0;
    for (std::size_t i = 3; i < texts.size(); ++i) {
        record.trace.steps.push_back({texts[i], static_cast<std::int64_t>(i)});
    }

    const std::string json = run_record::ToJson(record);
    Json::Value parsed;
    std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    FUZZ_CHECK(reader->parse(json.data(), json.data() + json.size(), &parsed, nullptr));
    FUZZ_CHECK(parsed["setupVersion"].asString() == record.setupVersion);
    FUZZ_CHECK(parsed["log"].asString() == record.log);
    FUZZ_CHECK(parsed["steps"].size() == record.trace.steps.size());
    static const std::set<std::string> words = {
        "installed", "installed-restart-required", "removed", "removed-restart-required",
        "refused", "rolled-back", "failed-early", "nothing-to-do", "busy", "bad-command-line"};
    FUZZ_CHECK(words.count(parsed["outcome"].asString()) == 1);
    return 0;
}
