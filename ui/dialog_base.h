#pragma once

#include <windows.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "setup/progress.h"
#include "sys/unique_handle.h"
#include "ui/button_control.h"
#include "ui/rounded_label.h"

// The creeping progress bar of both dialogs. It shows activity, not real progress.
struct ProgressAnimation {
    WNDPROC previous = nullptr;
    std::int16_t position = 0;
    std::int16_t limit = 100;
    HWND bar = nullptr;
    HWND animation = nullptr;
};

// One worker thread at a time; a new one starts only after the previous one was joined.
struct WorkerController {
    std::uint32_t stopRequested = 0;
    std::mutex mutex;
    std::condition_variable condition;
    std::thread thread;

    // Joins the previous worker. Throws std::system_error when called from that worker.
    void StopAndJoin();
    // Joins without ever throwing, for the dialog's end.
    void StopAndJoinAtExit() noexcept;
};

// What the install and uninstall windows share: the brand skin, caption dragging, the
// owner-drawn buttons, the progress animation and the worker thread.
class CDialogBase : public IProgress {
public:
    CDialogBase() = default;
    CDialogBase(const CDialogBase&) = delete;
    CDialogBase& operator=(const CDialogBase&) = delete;
    virtual ~CDialogBase();

    // Builds and shows the window; null when it cannot be created.
    virtual HWND Create(std::uint32_t languageId, bool beta) = 0;
    // A command from a control, or the worker's completion notice (ID_WORK_COMPLETED).
    virtual void OnCommand(HWND dialog, unsigned id) = 0;

    // Called by the worker thread: the stage's text in the status line.
    void Report(Stage stage) override;
    void SetStatusText(const wchar_t* text);

    HWND Window() const { return window_; }
    bool InProgress() const { return inProgress_; }
    // For a run whose message loop ended while the worker still runs (a close message to
    // the hidden window): waits for the work to finish while dispatching this thread's
    // messages, so that the worker's status texts and its completion still arrive.
    void FinishWork();
    // True once an exception reached the boundary of the window's or the worker's thread;
    // the run then ends with kStatusUnexpectedException.
    bool FailedUnexpectedly() const { return failedUnexpectedly_; }
    std::int32_t Result() const { return result_; }
    const ProgressAnimation& Progress() const { return progress_; }

protected:
    // What the worker thread gets; it wipes the password and frees the record at its end.
    struct WorkerStart {
        CDialogBase* dialog;
        HWND window;
        std::int32_t* result;
        WorkerController* worker;
        std::wstring password;
    };

    HWND CreateFromTemplate(unsigned templateId);
    // The work of one attempt, on the worker thread.
    virtual std::int32_t RunWork(std::wstring& password) = 0;
    // Hands the password over to the worker and wipes the caller's copy.
    void StartWorker(std::wstring& password);

    void ShowControl(unsigned id, bool show);
    void SetText(unsigned id, const std::wstring& text);
    void SetString(unsigned id, unsigned stringId);
    void MoveControl(unsigned id, int dx, int dy);
    void SetControlBitmap(unsigned id, unsigned bitmapId);
    void SetResultIcon(bool success);
    void ApplyFonts();
    // Redraws the dialog and every control: moved and hidden controls overlap, and a
    // control painted before its neighbour was erased would keep a cut picture.
    void Repaint();
    void StartProgress();
    void StopProgress();
    void StartAnimationTimer();
    // Close glyph, Close, Cancel, Restart now and Restart later: nothing while the work
    // runs; Restart now asks for a reboot first. True when id is one of them.
    bool HandleClosingCommand(unsigned id);

    std::vector<std::unique_ptr<CButtonControl>> buttons_;
    std::vector<std::unique_ptr<CRoundedLabel>> labels_;
    UniqueBrush background_;
    ProgressAnimation progress_;
    HWND window_ = nullptr;
    bool inProgress_ = false;
    std::int32_t result_ = 0;
    WorkerController worker_;
    std::uint32_t languageId_ = 0;

private:
    static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    static INT_PTR RouteMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    // Dispatches this thread's messages until the worker has ended.
    void DispatchUntilWorkerEnds();
    void FreePictures();
    INT_PTR HandleMessage(UINT message, WPARAM wParam, LPARAM lParam);
    void Initialise();
    static void WorkerMain(WorkerStart* start);
    static LRESULT CALLBACK AnimationProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    std::atomic<bool> workerRunning_{false};
    std::atomic<bool> failedUnexpectedly_{false};
    UniqueBrush linkBackground_;
    POINT dragOrigin_{};
    UniqueFont titleFont_;
    UniqueFont textFont_;
};

// Whether the process token is a member of the built-in Administrators group.
bool RunsAsAdministrator();

// Asks Windows for a planned restart for an installation.
void RequestReboot();

// Opens a file or address with its registered program.
void ShellOpen(const std::wstring& target, int showMode);

// The brand's bitmap for a use, by the active brand.
enum class BrandBitmap { kBackground, kCloseGlyph, kSuccess, kFailure };
unsigned BrandBitmapId(BrandBitmap use);

// The window of the shutdown block during a windowed run.
LRESULT CALLBACK ShutdownBlockWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
