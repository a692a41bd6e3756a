#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>

namespace test_support {

// A new empty folder below the temporary folder, removed with its content on destruction;
// with the standard library only, for the tests that build on the host too.
class ScratchFolder {
public:
    ScratchFolder() {
        static std::atomic<unsigned> counter{0};
        const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
        path_ = std::filesystem::temp_directory_path() /
                ("hollin-pure-" + std::to_string(now) + "-" + std::to_string(counter++));
        std::filesystem::create_directories(path_);
    }
    ~ScratchFolder() {
        std::error_code ignored;  // a file still open keeps its folder: nothing to do then
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::wstring operator/(const std::string& name) const { return (path_ / name).wstring(); }

private:
    std::filesystem::path path_;
};

}  // namespace test_support
