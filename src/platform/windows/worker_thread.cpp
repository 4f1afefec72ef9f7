#include "platform/worker_thread.h"

#include <windows.h>

#include <array>
#include <atomic>
#include <system_error>

namespace zvevent {

namespace {

[[noreturn]] void ThrowLastError() {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category());
}

// An event that once set stays set.
class Flag {
public:
    Flag() : event_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
        if (event_ == nullptr) ThrowLastError();
    }
    ~Flag() { CloseHandle(event_); }
    Flag(const Flag&) = delete;
    Flag& operator=(const Flag&) = delete;

    void Set() { SetEvent(event_); }
    HANDLE Handle() const { return event_; }

private:
    HANDLE event_;
};

// Shared by the thread and whoever started it.
struct Work {
    Work(void (*run)(void*), void* argument) : body(run), context(argument) {}

    void (*body)(void*);
    void* context;
    HMODULE library = nullptr;
    std::atomic<bool> claimed{false};  // by the thread that runs it, or by a stop that forgoes it
    Flag begun;
    Flag ended;
};

// A thread needs the loader's lock to begin and to leave, and whoever waits for it may hold that
// lock. So it tells both by events. The reference to the library is one that it gives back in the
// same step in which it leaves the library's code.
DWORD WINAPI RunWork(void* argument) {
    HMODULE library = nullptr;
    {
        const std::unique_ptr<std::shared_ptr<Work>> own(
            static_cast<std::shared_ptr<Work>*>(argument));
        Work& work = **own;
        library = work.library;
        if (!work.claimed.exchange(true)) {
            work.begun.Set();
            work.body(work.context);
        }
        work.ended.Set();
    }
    FreeLibraryAndExitThread(library, 0);
}

// How long a start waits for the thread to begin, so that a stop right after it finds it running.
// In vain where the start itself holds the loader's lock.
constexpr DWORD kBeginMs = 250;

// Since Windows 10 1607; without it the thread has no name.
void Describe(HANDLE thread) {
    using SetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);
    void* const found = reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "SetThreadDescription"));
    if (found != nullptr) reinterpret_cast<SetDescription>(found)(thread, L"zvEvent");
}

class Thread final : public WorkerThread {
public:
    Thread(void (*body)(void*), void* context) : work_(std::make_shared<Work>(body, context)) {
        auto own = std::make_unique<std::shared_ptr<Work>>(work_);
        if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                               reinterpret_cast<LPCSTR>(&RunWork), &work_->library) == 0) {
            ThrowLastError();
        }
        thread_ = CreateThread(nullptr, 0, RunWork, own.get(), 0, nullptr);
        if (thread_ == nullptr) {
            const std::system_error error(static_cast<int>(GetLastError()), std::system_category());
            FreeLibrary(work_->library);
            throw error;
        }
        static_cast<void>(own.release());  // the thread's
        Describe(thread_);
        WaitForSingleObject(work_->begun.Handle(), kBeginMs);
    }

    ~Thread() override { CloseHandle(thread_); }

    void Join() override {
        if (!work_->claimed.exchange(true)) return;  // it has not begun, and does nothing then
        const std::array<HANDLE, 2> either = {work_->ended.Handle(), thread_};
        WaitForMultipleObjects(static_cast<DWORD>(either.size()), either.data(), FALSE, INFINITE);
    }

private:
    const std::shared_ptr<Work> work_;
    HANDLE thread_ = nullptr;
};

}  // namespace

std::unique_ptr<WorkerThread> StartWorkerThread(void (*body)(void*), void* context) {
    return std::make_unique<Thread>(body, context);
}

}  // namespace zvevent
