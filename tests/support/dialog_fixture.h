#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "resources/resource.h"
#include "tests/support/dialog_driver.h"
#include "ui/dialog_seams.h"

// Bitmap sizes of the default brand's result icons.
inline constexpr SIZE kSuccessIcon{62, 62};
inline constexpr SIZE kFailureIcon{63, 59};

inline bool SameSize(SIZE a, SIZE b) {
    return a.cx == b.cx && a.cy == b.cy;
}

// A result screen: its line, its icon, and exactly the buttons given with their captions.
using ResultButtons = std::vector<std::pair<int, const wchar_t*>>;
inline void ExpectResultScreen(HWND window, const wchar_t* status, bool success,
                               const ResultButtons& buttons) {
    using namespace dialog_driver;
    EXPECT_EQ(Text(window, IDC_STATUS), status);
    EXPECT_TRUE(
        SameSize(PictureSize(window, IDC_RESULT_ICON), success ? kSuccessIcon : kFailureIcon));
    std::set<int> shown{IDC_TITLE, IDC_STATUS, IDC_RESULT_ICON};
    for (const auto& [id, caption] : buttons) {
        shown.insert(id);
        EXPECT_EQ(Text(window, id), caption);
    }
    EXPECT_EQ(Shown(window), shown);
}

// A dialog of this process, run by an administrator unless a test says otherwise.
template <class Dialog>
class DialogTest : public ::testing::Test {
protected:
    void SetUp() override {
        GetDialogSeams() = {};
        GetDialogSeams().isAdministrator = [] { return true; };
    }
    void TearDown() override {
        dialog_.reset();
        GetDialogSeams() = {};
        dialog_driver::DrainMessages();
    }

    HWND Open(bool beta = false, std::uint32_t language = 1) {
        dialog_ = std::make_unique<Dialog>();
        HWND window = dialog_->Create(language, beta);
        EXPECT_NE(window, nullptr);
        return window;
    }

    // Presses the main button and waits for the completion notice.
    void PressMainButtonAndWait() {
        using namespace dialog_driver;
        // Handled at once, as the window handles the button's command: a quick worker could
        // otherwise finish before a test sees the work start.
        dialog_->OnCommand(dialog_->Window(), IDC_MAIN_BUTTON);
        ASSERT_TRUE(dialog_->InProgress());
        ASSERT_TRUE(PumpUntil([&] { return !dialog_->InProgress(); }, 240000));
        Pump(50);
    }

    std::unique_ptr<Dialog> dialog_;
};
