#include "ui/dialog_base.h"

#include <commctrl.h>
#include <uxtheme.h>

#include <iterator>
#include <system_error>

#include "resources/resource.h"
#include "setup/branding/branding.h"
#include "setup/logging.h"
#include "setup/install/agent_installer.h"
#include "sys/desktop_shell.h"
#include "sys/process_sys.h"
#include "sys/text_sys.h"
#include "sys/unique_handle.h"
#include "ui/button_control.h"
#include "ui/dialog_seams.h"
#include "ui/localisation.h"
#include "ui/rounded_label.h"
#include "ui/ui_drawing.h"
#include "ui/window_subclass.h"

namespace {

constexpr UINT_PTR kAnimationTimer = 1;
// Buttons drawn outlined by their role; every other push button is a primary one.
const std::vector<unsigned> kSecondaryButtons = {IDC_CANCEL_BUTTON, IDC_RESTART_LATER_BUTTON};
// The status line's text of each stage the sequences report, in the order of Stage.
constexpr unsigned kStageTexts[] = {
    IDS_INITIALISING,  IDS_STOPPING_SERVICES,  IDS_DOWNLOADING_POLICY, IDS_INSTALLING_NET_FRAMEWORK,
    IDS_COPYING_FILES, IDS_INSTALLING_AGENT,   IDS_ROLLING_BACK,       IDS_REMOVING_FILES,
};
static_assert(std::size(kStageTexts) == static_cast<size_t>(Stage::kRemovingFiles) + 1,
              "one text per stage");

// Picture controls whose last bitmap the dialog frees.
constexpr unsigned kPictureControls[] = {IDC_CLOSE_GLYPH, IDC_RESULT_ICON};
constexpr wchar_t kShutdownBlockReason[] =
    L"Please wait while finishing installation. Do not shut down computer.";

}  // namespace

DialogSeams& GetDialogSeams() {
    static DialogSeams seams;
    return seams;
}

bool RunsAsAdministrator() {
    const auto& seam = GetDialogSeams().isAdministrator;
    return seam ? seam() : process_sys::IsAdministratorsMember();
}

void RequestReboot() {
    if (const auto& seam = GetDialogSeams().requestReboot) {
        seam();
        return;
    }
    bool wasEnabled = false;
    // Without the privilege the restart is refused; the window closes either way.
    process_sys::EnableShutdownPrivilege(wasEnabled);
    // Planned; application; installation. The answer is not checked: the window closes anyway.
    ExitWindowsEx(EWX_REBOOT, 0x80040002);
}

void ShellOpen(const std::wstring& target, int showMode) {
    if (const auto& seam = GetDialogSeams().shellOpen) {
        seam(target, showMode);
        return;
    }
    // Never from this elevated process: see desktop_shell.h.
    const Status status = desktop_shell::OpenAsDesktopUser(target, showMode);
    if (Failed(status)) {
        CLogging log(kInstallerLogFile, kInstallerComponent);
        log.Error("ShellOpen", L"not opened: no desktop shell opens it as the desktop's user: " +
                                   target,
                  status);
    }
}

unsigned BrandBitmapId(BrandBitmap use) {
    // Columns: brand 1, 2, 3, and any other brand number (its result icons are brand 3's).
    static constexpr unsigned kIds[4][4] = {
        {IDB_BACKGROUND_ZELKO, IDB_BACKGROUND_ORV, IDB_BACKGROUND_TESSAN, IDB_BACKGROUND_ZELKO},
        {IDB_CLOSE_ZELKO, IDB_CLOSE_ORV, IDB_CLOSE_TESSAN, IDB_CLOSE_ZELKO},
        {IDB_SUCCESS_ZELKO, IDB_SUCCESS_ORV, IDB_SUCCESS_TESSAN, IDB_SUCCESS_TESSAN},
        {IDB_FAILURE_ZELKO, IDB_FAILURE_ORV, IDB_FAILURE_TESSAN, IDB_FAILURE_TESSAN},
    };
    const BrandId brand = ActiveBrand();
    const int column = (brand >= kBrandZelko && brand <= kBrandTessan) ? brand - 1 : 3;
    return kIds[static_cast<int>(use)][column];
}

LRESULT CALLBACK ShutdownBlockWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_CREATE:
            ShutdownBlockReasonCreate(window, kShutdownBlockReason);
            return 0;
        case WM_QUERYENDSESSION:
            return 0;  // the session must not end while setup runs
        case WM_CLOSE:
            DestroyWindow(window);
            return 0;
        case WM_DESTROY:
            ShutdownBlockReasonDestroy(window);
            PostQuitMessage(0);
            return 0;
        default:
            return DefWindowProcW(window, message, wParam, lParam);
    }
}

void WorkerController::StopAndJoin() {
    {
        std::lock_guard<std::mutex> lock(mutex);
        stopRequested = 1;
        condition.notify_all();
    }
    if (thread.joinable()) {
        if (thread.get_id() == std::this_thread::get_id()) {
            throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
        }
        thread.join();
        thread = std::thread();
    }
    std::lock_guard<std::mutex> lock(mutex);
    stopRequested = 0;
}

void WorkerController::StopAndJoinAtExit() noexcept {
    try {
        StopAndJoin();
    } catch (const std::system_error&) {
        // Only the worker itself gets here, and it cannot wait for its own end.
        thread.detach();
    }
}

CDialogBase::~CDialogBase() {
    for (auto& button : buttons_)
        button->Detach();
    for (auto& label : labels_)
        label->Detach();
    const bool hasWindow = window_ != nullptr && IsWindow(window_);
    if (hasWindow) {
        // Detached first: the concrete dialog is gone already, and tearing the window down
        // must not post another quit.
        SetWindowLongPtrW(window_, GWLP_USERDATA, 0);
    }
    DispatchUntilWorkerEnds();
    worker_.StopAndJoinAtExit();
    if (hasWindow) {
        FreePictures();
        DestroyWindow(window_);
    }
    // The link control may have deleted its brush already; that one is not deleted twice.
    if (GetObjectType(linkBackground_.Get()) != OBJ_BRUSH)
        linkBackground_.Release();
}

HWND CDialogBase::CreateFromTemplate(unsigned templateId) {
    INITCOMMONCONTROLSEX controls{sizeof(controls),
                                  ICC_LINK_CLASS | ICC_PROGRESS_CLASS | ICC_STANDARD_CLASSES};
    InitCommonControlsEx(&controls);
    window_ = CreateDialogParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(templateId), nullptr,
                                 &DialogProc, reinterpret_cast<LPARAM>(this));
    return window_;
}

void CDialogBase::FreePictures() {
    for (unsigned id : kPictureControls) {
        // The control hands back the picture it showed, which is ours to delete.
        UniqueBitmap last(reinterpret_cast<HBITMAP>(
            SendDlgItemMessageW(window_, static_cast<int>(id), STM_SETIMAGE, IMAGE_BITMAP, 0)));
    }
}

void CDialogBase::DispatchUntilWorkerEnds() {
    MSG message{};
    while (workerRunning_) {
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT);
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (message.message == WM_QUIT)
                continue;  // the loop that wanted it has ended already
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }
}

void CDialogBase::FinishWork() {
    DispatchUntilWorkerEnds();
    // The completion notice was posted before the worker ended: show its screen.
    MSG message{};
    while (PeekMessageW(&message, window_, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

void CDialogBase::Report(Stage stage) {
    SetStatusText(LoadUiString(kStageTexts[static_cast<size_t>(stage)]).c_str());
}

void CDialogBase::SetStatusText(const wchar_t* text) {
    SetDlgItemTextW(window_, IDC_STATUS, text);
}

void CDialogBase::ShowControl(unsigned id, bool show) {
    HWND control = GetDlgItem(window_, static_cast<int>(id));
    if (control == nullptr)
        return;
    EnableWindow(control, show ? TRUE : FALSE);
    ShowWindow(control, show ? SW_SHOW : SW_HIDE);
}

void CDialogBase::SetText(unsigned id, const std::wstring& text) {
    SetDlgItemTextW(window_, static_cast<int>(id), text.c_str());
}

void CDialogBase::SetString(unsigned id, unsigned stringId) {
    SetText(id, LoadUiString(stringId));
}

void CDialogBase::MoveControl(unsigned id, int dx, int dy) {
    HWND control = GetDlgItem(window_, static_cast<int>(id));
    if (control == nullptr)
        return;
    RECT area{};
    GetWindowRect(control, &area);
    MapWindowPoints(nullptr, window_, reinterpret_cast<POINT*>(&area), 2);
    SetWindowPos(control, nullptr, area.left + dx, area.top + dy, 0, 0,
                 SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void CDialogBase::SetControlBitmap(unsigned id, unsigned bitmapId) {
    HWND control = GetDlgItem(window_, static_cast<int>(id));
    if (control == nullptr)
        return;
    UniqueBitmap picture = LoadArtBitmap(bitmapId);
    if (!picture)
        return;
    HBITMAP bitmap = picture.Get();
    UniqueBitmap previous(reinterpret_cast<HBITMAP>(
        SendMessageW(control, STM_SETIMAGE, IMAGE_BITMAP, reinterpret_cast<LPARAM>(bitmap))));
    if (previous.Get() == bitmap)
        previous.Release();  // the very picture the control now shows
    // A control that shows a copy of a 32-bit picture leaves the original to us; one that
    // shows ours keeps it for the life of the window.
    if (reinterpret_cast<HBITMAP>(SendMessageW(control, STM_GETIMAGE, IMAGE_BITMAP, 0)) == bitmap)
        picture.Release();
    // The control grows to the picture from its top-left corner; some systems keep a
    // centred-image static at its template size and would clip it.
    BITMAP info{};
    GetObjectW(bitmap, sizeof(info), &info);
    SetWindowPos(control, nullptr, 0, 0, info.bmWidth, info.bmHeight,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void CDialogBase::SetResultIcon(bool success) {
    SetControlBitmap(IDC_RESULT_ICON,
                     BrandBitmapId(success ? BrandBitmap::kSuccess : BrandBitmap::kFailure));
}

void CDialogBase::ApplyFonts() {
    {
        const WindowDc dc(window_);
        titleFont_.Reset(CreateUiFont(dc.Get(), 20, FW_BOLD));
        textFont_.Reset(CreateUiFont(dc.Get(), 10, FW_NORMAL));
    }
    const auto title = reinterpret_cast<WPARAM>(titleFont_.Get());
    const auto text = reinterpret_cast<WPARAM>(textFont_.Get());
    SendDlgItemMessageW(window_, IDC_TITLE, WM_SETFONT, title, TRUE);
    SendDlgItemMessageW(window_, IDC_STATUS, WM_SETFONT, text, TRUE);
    SendDlgItemMessageW(window_, IDC_SUBTITLE, WM_SETFONT, text, TRUE);
}

void CDialogBase::Repaint() {
    RedrawWindow(window_, nullptr, nullptr,
                 RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN | RDW_UPDATENOW);
}

void CDialogBase::StartProgress() {
    if (progress_.bar != nullptr && progress_.animation != nullptr)
        return;
    HWND bar = GetDlgItem(window_, IDC_PROGRESS_BAR);
    HWND animation = GetDlgItem(window_, IDC_ANIMATION);
    if (bar == nullptr || animation == nullptr)
        return;
    progress_.bar = bar;
    progress_.animation = animation;
    ShowWindow(bar, SW_SHOW);
    ShowWindow(animation, SW_SHOW);
    SendMessageW(bar, PBM_SETRANGE, 0, MAKELPARAM(0, 100));
    SendMessageW(bar, PBM_SETPOS, 0, 0);
    // Visual styles would ignore the colours.
    SetWindowTheme(bar, L"", L"");
    SendMessageW(bar, PBM_SETBARCOLOR, 0, 0xF67000);
    SendMessageW(bar, PBM_SETBKCOLOR, 0, ActiveBrand() == kBrandTessan ? 0xDFDFDF : 0x050505);
    progress_.previous = SubclassControl(animation, &progress_, &AnimationProc);
}

void CDialogBase::StopProgress() {
    if (progress_.bar == nullptr || progress_.animation == nullptr)
        return;
    progress_.position = 0;
    progress_.limit = 100;
    KillTimer(progress_.animation, kAnimationTimer);
    SendMessageW(progress_.bar, PBM_SETPOS, 0, 0);
    ShowWindow(progress_.bar, SW_HIDE);
    ShowWindow(progress_.animation, SW_HIDE);
}

void CDialogBase::StartAnimationTimer() {
    SetTimer(GetDlgItem(window_, IDC_ANIMATION), kAnimationTimer, 120, nullptr);
    ShowControl(IDC_ANIMATION, true);
    ShowControl(IDC_PROGRESS_BAR, true);
}

LRESULT CALLBACK CDialogBase::AnimationProc(HWND window, UINT message, WPARAM wParam,
                                            LPARAM lParam) {
    auto* progress = reinterpret_cast<ProgressAnimation*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (progress == nullptr)
        return DefWindowProcW(window, message, wParam, lParam);
    WNDPROC previous = progress->previous;
    if (message == WM_TIMER && wParam == kAnimationTimer) {
        if (progress->position < progress->limit) {
            SendMessageW(progress->bar, PBM_SETPOS, static_cast<WPARAM>(progress->position), 0);
            ++progress->position;
        } else {
            progress->position = 0;
            progress->limit = 100;
        }
        return 0;
    }
    if (message == WM_NCDESTROY) {
        KillTimer(window, kAnimationTimer);
        RestoreControl(window, previous);
        progress->bar = nullptr;
        progress->animation = nullptr;
    }
    return CallWindowProcW(previous, window, message, wParam, lParam);
}

void CDialogBase::StartWorker(std::wstring& password) {
    worker_.StopAndJoin();
    // Copied straight into the record: a moved string could leave characters behind.
    std::unique_ptr<WorkerStart> start(
        new WorkerStart{this, window_, &result_, &worker_, password});
    text_sys::Wipe(password);
    workerRunning_ = true;
    try {
        worker_.thread = std::thread(&CDialogBase::WorkerMain, start.get());
    } catch (...) {
        // No thread: the window's exception boundary ends the run.
        workerRunning_ = false;
        text_sys::Wipe(start->password);
        throw;
    }
    start.release();
}

void CDialogBase::WorkerMain(WorkerStart* start) {
    CDialogBase* dialog = start->dialog;
    SetThreadLanguage(dialog->languageId_);
    std::int32_t result = kStatusUnexpectedException;
    try {
        result = dialog->RunWork(start->password);
    } catch (const UnknownBrandError&) {
        result = kStatusUnknownBrand;
    } catch (...) {
        ReportUnexpectedException("the dialog's worker");
        dialog->failedUnexpectedly_ = true;
    }
    text_sys::Wipe(start->password);
    *start->result = result;
    PostMessageW(start->window, WM_COMMAND, ID_WORK_COMPLETED, 0);
    // Waiters wake only once this thread's locals are gone.
    std::notify_all_at_thread_exit(start->worker->condition,
                                   std::unique_lock<std::mutex>(start->worker->mutex));
    dialog->workerRunning_ = false;
    delete start;
}

bool CDialogBase::HandleClosingCommand(unsigned id) {
    switch (id) {
        case IDC_CLOSE_GLYPH:
        case IDC_CLOSE_BUTTON:
        case IDC_CANCEL_BUTTON:
        case IDC_RESTART_BUTTON:
        case IDC_RESTART_LATER_BUTTON:
            break;
        default:
            return false;
    }
    if (inProgress_)
        return true;
    if (id == IDC_RESTART_BUTTON)
        RequestReboot();
    PostMessageW(window_, WM_CLOSE, 0, 0);
    return true;
}

namespace {

UniqueBrush CreateBackgroundBrush() {
    // The brush keeps its own copy of the pattern.
    const UniqueBitmap bitmap = LoadArtBitmap(BrandBitmapId(BrandBitmap::kBackground));
    if (!bitmap)
        return {};
    return UniqueBrush(CreatePatternBrush(bitmap.Get()));
}

}  // namespace

void CDialogBase::Initialise() {
    background_ = CreateBackgroundBrush();
    SetControlBitmap(IDC_CLOSE_GLYPH, BrandBitmapId(BrandBitmap::kCloseGlyph));

    RECT desktop{};
    RECT own{};
    GetWindowRect(GetDesktopWindow(), &desktop);
    GetWindowRect(window_, &own);
    const int width = own.right - own.left;
    const int height = own.bottom - own.top;
    SetWindowPos(window_, nullptr, (desktop.left + desktop.right) / 2 - width / 2,
                 (desktop.top + desktop.bottom) / 2 - height / 2, 0, 0,
                 SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);

    SubclassAllButtons(window_, kSecondaryButtons, buttons_);
    SetForegroundWindow(window_);
    UpdateWindow(window_);
    if (ActiveBrand() == kBrandTessan) {
        RECT client{};
        GetClientRect(window_, &client);
        SetWindowRgn(window_, CreateRoundRectRgn(0, 0, client.right, client.bottom, 38, 38), TRUE);
    }
}

INT_PTR CALLBACK CDialogBase::DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    try {
        return RouteMessage(window, message, wParam, lParam);
    } catch (...) {
        // Nothing may unwind through the system's window code: the run ends here.
        ReportUnexpectedException("the dialog");
        auto* self = reinterpret_cast<CDialogBase*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (self != nullptr)
            self->failedUnexpectedly_ = true;
        PostQuitMessage(0);
        return 0;
    }
}

INT_PTR CDialogBase::RouteMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG) {
        auto* self = reinterpret_cast<CDialogBase*>(lParam);
        SetWindowLongPtrW(window, GWLP_USERDATA, lParam);
        if (self == nullptr)
            return 0;
        self->window_ = window;
        self->Initialise();
        return reinterpret_cast<INT_PTR>(self->background_.Get());
    }
    auto* self = reinterpret_cast<CDialogBase*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self == nullptr)
        return 0;
    return self->HandleMessage(message, wParam, lParam);
}

INT_PTR CDialogBase::HandleMessage(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_CTLCOLORDLG:
            return reinterpret_cast<INT_PTR>(background_.Get());
        case WM_CTLCOLORSTATIC: {
            auto dc = reinterpret_cast<HDC>(wParam);
            auto control = reinterpret_cast<HWND>(lParam);
            const bool tessan = ActiveBrand() == kBrandTessan;
            COLORREF color = tessan ? 0x545454 : 0xC8C8C8;
            if (GetDlgCtrlID(control) == IDC_TITLE) {
                color = tessan ? 0x181818 : 0xFFFFFF;
            }
            SetBkMode(dc, TRANSPARENT);
            SetTextColor(dc, color);
            // The pattern lines up with the dialog's own.
            RECT area{};
            GetWindowRect(control, &area);
            MapWindowPoints(nullptr, window_, reinterpret_cast<POINT*>(&area), 2);
            SetBrushOrgEx(dc, -area.left, -area.top, nullptr);
            if (GetDlgCtrlID(control) == IDC_AGREEMENT_LINK) {
                // Some link controls delete the brush they are given after painting; the
                // link gets a copy of its own, made again when it is gone.
                if (GetObjectType(linkBackground_.Get()) != OBJ_BRUSH) {
                    linkBackground_.Release();  // deleted by the link, or never made
                    linkBackground_ = CreateBackgroundBrush();
                }
                return reinterpret_cast<INT_PTR>(linkBackground_.Get());
            }
            return reinterpret_cast<INT_PTR>(background_.Get());
        }
        case WM_LBUTTONDOWN:
            SetCapture(window_);
            dragOrigin_ = {static_cast<short>(LOWORD(lParam)), static_cast<short>(HIWORD(lParam))};
            return 0;
        case WM_MOUSEMOVE:
            if (GetCapture() == window_) {
                RECT own{};
                GetWindowRect(window_, &own);
                const int x = static_cast<short>(LOWORD(lParam));
                const int y = static_cast<short>(HIWORD(lParam));
                SetWindowPos(window_, nullptr, own.left + x - dragOrigin_.x,
                             own.top + y - dragOrigin_.y, 0, 0,
                             SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
            }
            return 0;
        case WM_LBUTTONUP:
            ReleaseCapture();
            return 0;
        case WM_NOTIFY: {
            auto* header = reinterpret_cast<NMHDR*>(lParam);
            if (header->idFrom == IDC_AGREEMENT_LINK &&
                (header->code == NM_CLICK || header->code == NM_RETURN)) {
                SetFocus(window_);
                ShellOpen(reinterpret_cast<NMLINK*>(lParam)->item.szUrl, SW_SHOW);
            }
            return 0;
        }
        case WM_COMMAND:
            OnCommand(window_, LOWORD(wParam));
            return 0;
        case WM_CLOSE:
        case WM_DESTROY:
            if (inProgress_)
                return 1;
            EndDialog(window_, 2);
            PostQuitMessage(0);
            return 1;
        default:
            return 0;
    }
}
