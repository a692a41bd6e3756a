#include "sys/ini_sys.h"

#include "sys/file_sys.h"

namespace ini_sys {

Status IniDocument::Load(const std::wstring& path) {
    std::string content;
    Status status = file_sys::ReadWholeFile(path, content);
    if (Failed(status)) {
        return status;
    }
    Parse(content);
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
    return file_sys::WriteWholeFile(path, Serialize());
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
