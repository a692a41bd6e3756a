// A child program for the process tests. Runs its words as commands, in order:
//   out TEXT    writes TEXT to stdout as bytes; \r and \n stand for CR and LF
//   repeat N TEXT   writes TEXT N times
//   errrepeat N TEXT   writes TEXT N times to stderr
//   env NAME    writes the value of the environment variable NAME
//   sleep MS    sleeps
//   exit CODE   ends with CODE (decimal)
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

void Write(const std::string& bytes, DWORD stream = STD_OUTPUT_HANDLE) {
    DWORD written = 0;
    WriteFile(GetStdHandle(stream), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
              nullptr);
}

std::string Unescape(const wchar_t* text) {
    std::string bytes;
    for (const wchar_t* p = text; *p != L'\0'; ++p) {
        if (p[0] == L'\\' && p[1] == L'r') {
            bytes.push_back('\r');
            ++p;
        } else if (p[0] == L'\\' && p[1] == L'n') {
            bytes.push_back('\n');
            ++p;
        } else {
            bytes.push_back(static_cast<char>(*p));
        }
    }
    return bytes;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::wstring command = argv[i];
        const wchar_t* value = argv[i + 1];
        if (command == L"out") {
            Write(Unescape(value));
        } else if ((command == L"repeat" || command == L"errrepeat") && i + 2 < argc) {
            const std::string text = Unescape(argv[i + 2]);
            const DWORD stream = command == L"repeat" ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE;
            for (long n = std::wcstol(value, nullptr, 10); n > 0; --n) {
                Write(text, stream);
            }
            ++i;
        } else if (command == L"env") {
            wchar_t buffer[32767] = {};
            const DWORD length = GetEnvironmentVariableW(value, buffer, 32767);
            Write(std::string(buffer, buffer + length));  // the low byte of each character
        } else if (command == L"sleep") {
            Sleep(static_cast<DWORD>(std::wcstoul(value, nullptr, 10)));
        } else if (command == L"exit") {
            return static_cast<int>(std::wcstoul(value, nullptr, 10));
        }
    }
    return 0;
}
