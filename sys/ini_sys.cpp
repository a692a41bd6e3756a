#include "sys/ini_sys.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "sys/file_sys.h"

namespace ini_sys {

Status IniDocument::Load(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    if (!file) {
        return kStatusNotFound;
    }
    std::ostringstream content;
    content << file.rdbuf();
    Parse(content.str());
    return kStatusOk;
}

Status IniDocument::Save(const std::wstring& path) const {
    const std::wstring folder = file_sys::GetParentFolder(path);
    if (!folder.empty()) {
        Status status = file_sys::CreateFolderTree(folder);
        if (Failed(status)) {
            return status;
        }
    }
    const std::string text = Serialize();
    std::ofstream file(std::filesystem::path(path), std::ios::binary | std::ios::trunc);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    return file.fail() ? kStatusFileWriteFailed : kStatusOk;
}

std::string ReadIniValue(const std::wstring& path, const std::string& section,
                         const std::string& key) {
    IniDocument document;
    if (Failed(document.Load(path))) {
        return {};
    }
    return document.GetText(section, key);
}

}  // namespace ini_sys
