#include "tests/support/test_support.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "sys/process_sys.h"

namespace test_support {

std::wstring BinFolder() {
    return process_sys::FolderOf(process_sys::GetModulePath());
}

TempFolder::TempFolder() {
    static std::atomic<unsigned> counter{0};
    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    path_ = std::wstring(temp) + L"hollin-test-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
            std::to_wstring(GetTickCount64()) + L"-" + std::to_wstring(counter++);
    std::filesystem::create_directories(path_);
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void CopyBuiltProgram(const std::wstring& builtName, const std::wstring& folder,
                      const std::wstring& newName) {
    const std::wstring target = folder + L"\\" + (newName.empty() ? builtName : newName);
    ASSERT_TRUE(CopyFileW((BinFolder() + L"\\" + builtName).c_str(), target.c_str(), FALSE))
        << Narrow(builtName) << " error " << GetLastError();
}

DWORD RunAndWait(const std::wstring& commandLine, DWORD timeoutMs) {
    std::wstring mutableLine = commandLine;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info{};
    // Wine now and then fails a process start with ERROR_INTERNAL_ERROR when the machine is
    // busy; the program under test never ran then, so starting it again is safe.
    BOOL started = FALSE;
    DWORD error = 0;
    for (int attempt = 0; attempt < 5 && !started; ++attempt) {
        mutableLine = commandLine;
        started = CreateProcessW(nullptr, mutableLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                 nullptr, &startup, &info);
        error = started ? 0 : GetLastError();
        if (!started && error != ERROR_INTERNAL_ERROR)
            break;
        if (!started)
            Sleep(500);
    }
    if (!started) {
        ADD_FAILURE() << "cannot start " << Narrow(commandLine) << ": error " << error;
        return 0xDEADBEEF;
    }
    DWORD exitCode = 0xDEADBEEF;
    if (WaitForSingleObject(info.hProcess, timeoutMs) == WAIT_OBJECT_0) {
        GetExitCodeProcess(info.hProcess, &exitCode);
    } else {
        ADD_FAILURE() << Narrow(commandLine) << " did not end within " << timeoutMs << " ms";
        TerminateProcess(info.hProcess, 0xDEADBEEF);
    }
    CloseHandle(info.hThread);
    CloseHandle(info.hProcess);
    return exitCode;
}

std::string ReadFileBytes(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

bool FileExists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::string Narrow(const std::wstring& text) {
    int length = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                     nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), narrow.data(),
                        length, nullptr, nullptr);
    return narrow;
}

std::string Base64(const std::string& bytes) {
    std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                 reinterpret_cast<const unsigned char*>(bytes.data()),
                                 static_cast<int>(bytes.size()));
    text.resize(static_cast<size_t>(length));
    return text;
}

std::string SealProxyPassword(const std::string& plaintext, const std::string& token) {
    const unsigned char iv[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex(context, EVP_aes_256_gcm(), nullptr, nullptr, nullptr);
    EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_GCM_SET_IVLEN, 12, nullptr);
    EVP_EncryptInit_ex(context, nullptr, nullptr,
                       reinterpret_cast<const unsigned char*>(token.data()), iv);
    std::string cipher(plaintext.size() + 16, '\0');
    int written = 0;
    int finalWritten = 0;
    EVP_EncryptUpdate(context, reinterpret_cast<unsigned char*>(cipher.data()), &written,
                      reinterpret_cast<const unsigned char*>(plaintext.data()),
                      static_cast<int>(plaintext.size()));
    EVP_EncryptFinal_ex(context, reinterpret_cast<unsigned char*>(cipher.data()) + written,
                        &finalWritten);
    cipher.resize(static_cast<size_t>(written + finalWritten));
    unsigned char tag[16];
    EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_GCM_GET_TAG, 16, tag);
    EVP_CIPHER_CTX_free(context);
    return Base64(std::string(reinterpret_cast<const char*>(iv), sizeof(iv)) + cipher +
                  std::string(reinterpret_cast<const char*>(tag), sizeof(tag)));
}

}  // namespace test_support
