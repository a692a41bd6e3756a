#include "sys/ini_sys.h"

#include <algorithm>

#include "sys/text_sys.h"

namespace ini_sys {
namespace {

// The signature entry of signed configuration files is never an ordinary setting.
constexpr char kSignatureKey[] = "QPXSig";

// Blanks, and carriage returns, which the writer could not give back at a line's end.
constexpr char kTrimmed[] = " \r";

std::string Trim(const std::string& text) {
    const size_t first = text.find_first_not_of(kTrimmed);
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kTrimmed) - first + 1);
}

}  // namespace

void IniDocument::SetRaw(const std::string& section, const std::string& key,
                         const std::string& value) {
    auto found = std::find_if(sections_.begin(), sections_.end(),
                              [&section](const Section& s) { return s.name == section; });
    if (found == sections_.end()) {
        sections_.push_back({section, {}});
        found = sections_.end() - 1;
    }
    for (auto& entry : found->entries) {
        if (entry.first == key) {
            entry.second = value;
            return;
        }
    }
    found->entries.emplace_back(key, value);
}

Status IniDocument::SetText(const std::string& section, const std::string& key,
                            const std::wstring& value) {
    std::string utf8;
    Status status = text_sys::WideToUtf8(value, utf8);
    if (Failed(status)) {
        return status;
    }
    SetRaw(section, key, utf8);
    return kStatusOk;
}

Status IniDocument::SetInteger(const std::string& section, const std::string& key,
                               std::int32_t value) {
    SetRaw(section, key, std::to_string(value));
    return kStatusOk;
}

Status IniDocument::SetBoolean(const std::string& section, const std::string& key, bool value) {
    SetRaw(section, key, value ? "1" : "0");
    return kStatusOk;
}

std::string IniDocument::GetText(const std::string& section, const std::string& key) const {
    for (const Section& s : sections_) {
        if (s.name != section) {
            continue;
        }
        for (const auto& entry : s.entries) {
            if (entry.first == key) {
                return entry.second;
            }
        }
    }
    return {};
}

std::string IniDocument::Serialize() const {
    std::string text;
    for (const Section& s : sections_) {
        text += "[" + s.name + "]\n";
        for (const auto& entry : s.entries) {
            text += entry.first + "=" + entry.second + "\n";
        }
        text += "\n";
    }
    return text;
}

void IniDocument::Parse(const std::string& text) {
    sections_.clear();
    std::string section;
    for (size_t start = 0; start < text.size();) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        std::string line = text.substr(start, end - start);
        start = end + 1;
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        line = Trim(line);
        if (line.empty() || line[0] == '#') {
            continue;
        }
        // A line that opens like a section header is one or nothing, never a key: written
        // back without its comment, such a key could read as a header.
        if (line.front() == '[') {
            if (line.back() == ']') {
                section = line.substr(1, line.size() - 2);
            }
            continue;
        }
        const size_t equals = line.find('=');
        if (equals == std::string::npos) {
            continue;
        }
        const std::string key = Trim(line.substr(0, equals));
        std::string value = line.substr(equals + 1);
        value = Trim(value.substr(0, value.find('#')));
        if (key.empty() || key == kSignatureKey) {
            continue;
        }
        SetRaw(section, key, value);
    }
}

}  // namespace ini_sys
