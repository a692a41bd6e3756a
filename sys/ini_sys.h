#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "sys/status.h"

// INI-style key/value documents, UTF-8 on disk. The document in memory (ini_document.cpp)
// touches no file and builds on the host; Load, Save and ReadIniValue (ini_sys.cpp) do.
namespace ini_sys {

class IniDocument {
public:
    // Setting an existing key replaces its value in place; new keys and sections keep the
    // order they were added in.
    Status SetText(const std::string& section, const std::string& key, const std::wstring& value);
    Status SetInteger(const std::string& section, const std::string& key, std::int32_t value);
    Status SetBoolean(const std::string& section, const std::string& key, bool value);

    // The UTF-8 value, empty when the key is absent.
    std::string GetText(const std::string& section, const std::string& key) const;

    // Replaces the content with the file's; a later duplicate of a key wins.
    Status Load(const std::wstring& path);
    // Writes the document, creating missing parent folders.
    Status Save(const std::wstring& path) const;

    std::string Serialize() const;
    void Parse(const std::string& text);

private:
    struct Section {
        std::string name;
        std::vector<std::pair<std::string, std::string>> entries;
    };
    void SetRaw(const std::string& section, const std::string& key, const std::string& value);

    std::vector<Section> sections_;
};

// Reads one value from a file; empty when the file, the section or the key is missing.
std::string ReadIniValue(const std::wstring& path, const std::string& section,
                         const std::string& key);

}  // namespace ini_sys
