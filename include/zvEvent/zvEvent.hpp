// The C++ face of zvEvent.h: the same functions with owned texts, objects that end what they began,
// and functions of any kind as callbacks. C++17 and later, header only and over the C functions
// alone, so any compiler's programs can use any build of the library.
//
//     zvEvent::Session session("events.xml");
//     if (!session) {
//         std::cerr << session.result().text() << '\n';
//         return 1;
//     }
//     zvEvent::Event("Power supply 1 is too hot")
//         .Type("temperature")
//         .SourceId("psu-1")
//         .Severity(zvEvent::Severity::Warning)
//         .Action("raise")
//         .Value(81.5)
//         .Units("C")
//         .Submit();
//
// Rules beyond those of zvEvent.h, which hold here too:
//   - Nothing throws, with one exception: where an object takes a text or a function to keep, the
//     language's own std::bad_alloc. Who wants exceptions for failures calls Result::OrThrow. The
//     header compiles without exceptions as well; OrThrow is then missing.
//   - What is shared by the process in C is shared here: any part of a program may submit, flush or
//     subscribe, whoever holds the session.
//   - An object is for one thread at a time, as a std::string is; different objects are for any.
//   - Texts end at their first NUL.
//   - Linux: a shared object that subscribes may stay loaded after dlclose. What may be unloaded
//     ends its subscriptions and then calls Flush; between the two a callback that is never run
//     again may still be looked at.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

#include "zvEvent/zvEvent.h"

#if defined(__cpp_exceptions) || defined(_CPPUNWIND)
#define ZVEVENT_HAS_EXCEPTIONS
#endif

namespace zvEvent {

enum class Severity : std::uint32_t {
    Debug = zvEventSeverityDebug,
    Info = zvEventSeverityInfo,
    Warning = zvEventSeverityWarning,
    Error = zvEventSeverityError
};

// What OrThrow throws: what() is the text of the failure.
class Error : public std::runtime_error {
public:
    Error(std::uint32_t code, const char* text) : std::runtime_error(text), code_(code) {}

    std::uint32_t code() const noexcept { return code_; }

private:
    std::uint32_t code_;
};

// How a call went: one of the result codes of zvEvent.h, and after a failure its text.
class Result {
public:
    // Success.
    Result() noexcept : Result(ZVEVENT_OK) {}

    // The result of a C function, with the text that this thread's last call left: to be made right
    // after the call and on the same thread, as in
    //     zvEvent::Result result(zvEventInstallWindowsEventSource("recorder", nullptr));
    explicit Result(std::uint32_t code) noexcept : code_(code) {
        text_[0] = '\0';
        if (!ok()) zvEventGetLastError(text_, sizeof text_);
    }

    Result(const Result& other) noexcept { *this = other; }
    Result& operator=(const Result& other) noexcept {
        code_ = other.code_;
        std::memmove(text_, other.text_, std::strlen(other.text_) + 1);
        return *this;
    }

    bool ok() const noexcept { return code_ == ZVEVENT_OK; }
    explicit operator bool() const noexcept { return ok(); }
    std::uint32_t code() const noexcept { return code_; }

    // A sentence, empty after a success; cut at 511 bytes.
    const char* text() const noexcept { return text_; }

#ifdef ZVEVENT_HAS_EXCEPTIONS
    // Throws zvEvent::Error unless ok().
    void OrThrow() const {
        if (!ok()) throw Error(code_, text_);
    }
#endif

private:
    std::uint32_t code_;
    // Written and copied only as far as text() shows it: a success costs no 512 bytes.
    char text_[512];
};

// One event under construction. It owns its texts, may be submitted any number of times, and be
// changed in between: the way to raise an alert and clear it later with everything else the same.
// What is not set takes the default that zvEventRecord names for it.
class Event {
public:
    // The sentence for people is the one thing that an event must have.
    explicit Event(std::string message) : message_(std::move(message)) {}

    Event& Message(std::string text) { return Set(message_, text); }
    Event& Type(std::string text) { return Set(event_type_, text); }
    Event& SourceId(std::string text) { return Set(source_id_, text); }
    Event& SourceName(std::string text) { return Set(source_name_, text); }
    // "raise", "update", "clear" and "repeat" drive the alert state.
    Event& Action(std::string text) { return Set(action_, text); }
    Event& DedupeKey(std::string text) { return Set(dedupe_key_, text); }
    Event& CorrelationId(std::string text) { return Set(correlation_id_, text); }
    Event& Timecode(std::string text) { return Set(timecode_, text); }
    Event& Units(std::string text) { return Set(units_, text); }
    Event& DetailsJson(std::string text) { return Set(details_json_, text); }

    Event& Severity(zvEvent::Severity severity) noexcept {
        return Set(numbers_.severity, static_cast<std::uint32_t>(severity));
    }
    Event& Value(double value) noexcept { return Set(numbers_.value, value); }
    Event& Threshold(double threshold) noexcept { return Set(numbers_.threshold, threshold); }
    Event& Duration(std::chrono::milliseconds duration) noexcept {
        return Set(numbers_.duration_ms, Unsigned(duration.count()));
    }
    // When it happened, where that is not the moment of the submit.
    Event& Time(std::chrono::system_clock::time_point time) noexcept {
        const auto since_1970 =
            std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch());
        return Set(numbers_.utc_ns, Unsigned(since_1970.count()));
    }
    Event& PtpNs(std::uint64_t nanoseconds) noexcept { return Set(numbers_.ptp_ns, nanoseconds); }
    Event& Pts(std::int64_t pts) noexcept { return Set(numbers_.pts, pts); }
    Event& EventId(std::uint64_t id) noexcept { return Set(numbers_.event_id, id); }

    // As zvEventSubmit: refused are an empty message and a library that is not initialized.
    Result Submit() const noexcept {
        const zvEventRecord record = Record();
        return Result(zvEventSubmit(&record));
    }

    // The event for the C functions and those of zvEventAlertmanager.h. The texts stay this
    // object's: the record is good until it is changed or gone.
    zvEventRecord Record() const noexcept {
        zvEventRecord record = numbers_;
        record.message = Pointer(message_);
        record.event_type = Pointer(event_type_);
        record.source_id = Pointer(source_id_);
        record.source_name = Pointer(source_name_);
        record.action = Pointer(action_);
        record.dedupe_key = Pointer(dedupe_key_);
        record.correlation_id = Pointer(correlation_id_);
        record.timecode = Pointer(timecode_);
        record.units = Pointer(units_);
        record.details_json = Pointer(details_json_);
        return record;
    }

private:
    using Text = std::optional<std::string>;

    Event& Set(Text& member, std::string& text) {
        member = std::move(text);
        return *this;
    }
    template <typename Number>
    Event& Set(Number& member, Number value) noexcept {
        member = value;
        return *this;
    }
    template <typename Number>
    static std::uint64_t Unsigned(Number number) noexcept {
        return number > 0 ? static_cast<std::uint64_t>(number) : 0;
    }
    static const char* Pointer(const Text& text) noexcept { return text ? text->c_str() : nullptr; }

    zvEventRecord numbers_ = zvEventRecordInit();  // its texts stay absent
    Text message_;
    Text event_type_;
    Text source_id_;
    Text source_name_;
    Text action_;
    Text dedupe_key_;
    Text correlation_id_;
    Text timecode_;
    Text units_;
    Text details_json_;
};

// The library from zvEventInitialize to zvEventShutdown. Hold it in main or in what a service
// starts and stops, not in a global object of a DLL (zvEventShutdown tells why).
class Session {
public:
    // Blocks as zvEventInitialize does. The path is UTF-8.
    explicit Session(const std::string& config_path) noexcept
        : result_(zvEventInitialize(config_path.c_str())), is_open_(result_.ok()) {}

    // Shuts down what it has started, and leaves alone what another session has.
    ~Session() { Shutdown(); }

    Session(Session&& other) noexcept
        : result_(other.result_), is_open_(std::exchange(other.is_open_, false)) {}
    Session& operator=(Session&& other) noexcept {
        if (this == &other) return *this;
        Shutdown();
        result_ = other.result_;
        is_open_ = std::exchange(other.is_open_, false);
        return *this;
    }

    // Whether it has started the library and not yet shut it down.
    explicit operator bool() const noexcept { return is_open_; }

    // How the start went.
    const Result& result() const noexcept { return result_; }

    // As zvEventShutdown, for those who want to know whether all was delivered. In a callback it is
    // refused, and the session stays open.
    Result Shutdown() noexcept {
        if (!is_open_) return Result();
        const Result result(zvEventShutdown());
        // The same code stands for "refused" and "shut down, but something was lost". Where a
        // shutdown is refused a flush is too; after a shutdown there is nothing to flush.
        is_open_ = result.code() == ZVEVENT_E_FAILURE && zvEventFlush(1) == ZVEVENT_E_FAILURE;
        return result;
    }

private:
    Result result_;
    bool is_open_;
};

// As zvEventReloadConfig; an empty path means the file in force.
[[nodiscard]] inline Result Reload(const std::string& config_path = {}) noexcept {
    return Result(zvEventReloadConfig(config_path.c_str()));
}

// As zvEventFlush, without a limit.
[[nodiscard]] inline Result Flush() noexcept {
    return Result(zvEventFlush(0));
}

// As zvEventFlush; a limit below a millisecond is one millisecond.
[[nodiscard]] inline Result Flush(std::chrono::milliseconds limit) noexcept {
    constexpr std::int64_t kLongest = UINT32_MAX;
    const std::int64_t count = limit.count();
    return Result(zvEventFlush(
        static_cast<std::uint32_t>(count < 1 ? 1 : (count > kLongest ? kLongest : count))));
}

namespace detail {

// A function of the application, of whatever type.
class Receiver {
public:
    virtual ~Receiver() = default;
    virtual void Receive(const zvEventRecord& event) = 0;

    // Guarded by the mutex of Receivers.
    std::thread::id running_on;
    std::uint64_t exceptions = 0;
};

template <typename Function>
class ReceiverOf final : public Receiver {
public:
    explicit ReceiverOf(Function&& function) : function_(std::move(function)) {}
    void Receive(const zvEventRecord& event) override { function_(event); }

private:
    Function function_;
};

// The receivers by key. The library may call back for a registration that is gone already, when it
// had the event in hand: it is given a key in place of an address, so that such a call finds
// nothing, instead of what was freed.
class Receivers {
public:
    using Key = std::uintptr_t;  // never 0

    // Never destroyed: the worker may outlive the program's global objects.
    static Receivers& Instance() {
        static Receivers& instance = *new Receivers;
        return instance;
    }

    Key Add(std::shared_ptr<Receiver> receiver) {
        const std::lock_guard<std::mutex> lock(mutex_);
        const Key key = last_key_ + 1;
        receivers_.emplace(key, std::move(receiver));
        return last_key_ = key;
    }

    // Once it returns the receiver neither runs nor will, the call that this one is made in apart,
    // and is gone. `registered`: the library knew the registration. Otherwise its worker has ended,
    // or this is a forked child, which has inherited the mutex as it was, perhaps locked for good,
    // and a mark that says "running" for a thread that it does not have: nothing is waited for.
    void Remove(Key key, bool registered) noexcept {
        std::shared_ptr<Receiver> receiver;  // freed behind the lock
        std::unique_lock<std::mutex> lock(mutex_, std::defer_lock);
        if (!Lock(lock, registered)) return;
        const auto found = receivers_.find(key);
        if (found == receivers_.end()) return;
        receiver = std::move(found->second);
        receivers_.erase(found);
        if (!registered) return;
        returned_.wait(lock, [&] {
            return receiver->running_on == std::thread::id() ||
                   receiver->running_on == std::this_thread::get_id();
        });
    }

    std::uint64_t Exceptions(Key key) noexcept {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = receivers_.find(key);
        return found == receivers_.end() ? 0 : found->second->exceptions;
    }

    // The function that the library calls. No exception may leave it: the library may be of another
    // C++ runtime.
    static void Deliver(const zvEventRecord* event, void* user_data) {
        const Call call(Instance(), reinterpret_cast<Key>(user_data));
        if (!call.receiver) return;
#ifdef ZVEVENT_HAS_EXCEPTIONS
        try {
            call.receiver->Receive(*event);
        } catch (...) {
            // No exception of the language, but the end of the thread, as by pthread_exit:
            // swallowed it would end the process.
            if (std::current_exception() == nullptr) throw;
            const std::lock_guard<std::mutex> lock(call.receivers.mutex_);
            ++call.receiver->exceptions;
        }
#else
        call.receiver->Receive(*event);
#endif
    }

private:
    // A receiver while it runs.
    struct Call {
        Call(Receivers& all, Key key) : receivers(all) {
            const std::lock_guard<std::mutex> lock(receivers.mutex_);
            const auto found = receivers.receivers_.find(key);
            if (found == receivers.receivers_.end()) return;
            receiver = found->second;
            receiver->running_on = std::this_thread::get_id();
        }
        // Whoever waits in Remove frees the receiver, not this thread a moment later. Only one that
        // has ended its own subscription is freed here, behind the lock.
        ~Call() {
            if (!receiver) return;
            std::shared_ptr<Receiver> last;
            const std::lock_guard<std::mutex> lock(receivers.mutex_);
            receiver->running_on = std::thread::id();
            if (receiver.use_count() == 1) last.swap(receiver);
            receiver.reset();
            receivers.returned_.notify_all();
        }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

        Receivers& receivers;
        std::shared_ptr<Receiver> receiver;  // null: the subscription has ended
    };

    // Without patience for about a tenth of a second: nobody holds the mutex that long.
    static bool Lock(std::unique_lock<std::mutex>& lock, bool patient) {
        if (patient) {
            lock.lock();
            return true;
        }
        for (int attempt = 0; attempt < 100; ++attempt) {
            if (lock.try_lock()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return false;
    }

    std::mutex mutex_;
    std::condition_variable returned_;
    std::map<Key, std::shared_ptr<Receiver>> receivers_;
    Key last_key_ = 0;
};

}  // namespace detail

// A function that receives every delivered event, until this object ends. Made by Subscribe.
class Subscription {
public:
    // None.
    Subscription() noexcept = default;

    ~Subscription() { End(); }

    Subscription(Subscription&& other) noexcept
        : result_(other.result_), key_(std::exchange(other.key_, 0)), id_(other.id_) {}
    Subscription& operator=(Subscription&& other) noexcept {
        if (this == &other) return *this;
        End();
        result_ = other.result_;
        key_ = std::exchange(other.key_, 0);
        id_ = other.id_;
        return *this;
    }

    // How the registration went.
    const Result& result() const noexcept { return result_; }

    // Exceptions that have left the function so far. They end at the face and are counted here.
    std::uint64_t exceptions() const noexcept {
        return detail::Receivers::Instance().Exceptions(key_);
    }

    // Waits for the function if it is running, however long it runs. Then it is not called again,
    // and it and what it holds are gone. Called by the function itself it does not wait, and the
    // function is gone once it has returned. Holding a lock that the function takes would be a
    // deadlock.
    void End() noexcept {
        if (key_ == 0) return;
        const bool registered = zvEventUnregisterCallback(id_) == ZVEVENT_OK;
        detail::Receivers::Instance().Remove(std::exchange(key_, 0), registered);
    }

private:
    template <typename Function>
    friend Subscription Subscribe(Function);

    Result result_;
    detail::Receivers::Key key_ = 0;
    std::uint32_t id_ = 0;
};

// Has every delivered event handed to `function`, which is anything that can be called with a
// `const zvEventRecord&`; one that cannot be copied will do. It runs on the worker, and what
// zvEventCallback says of callbacks holds for it. All texts of the record are there (none is null),
// and good during the call.
//
//     auto subscription = zvEvent::Subscribe([&](const zvEventRecord& event) {
//         ++counts[event.severity];
//     });
//
// A subscription that is there before the session and ends after it receives every event. The
// library's shutdown ends all subscriptions: after a new start subscribe anew.
template <typename Function>
[[nodiscard]] Subscription Subscribe(Function function) {
    static_assert(std::is_invocable_v<Function&, const zvEventRecord&>,
                  "the function is to take a const zvEventRecord&");
    auto& receivers = detail::Receivers::Instance();
    Subscription subscription;
    subscription.key_ =
        receivers.Add(std::make_shared<detail::ReceiverOf<Function>>(std::move(function)));
    subscription.result_ = Result(zvEventRegisterCallback(
        detail::Receivers::Deliver, reinterpret_cast<void*>(subscription.key_), &subscription.id_));
    return subscription;
}

}  // namespace zvEvent

#undef ZVEVENT_HAS_EXCEPTIONS
