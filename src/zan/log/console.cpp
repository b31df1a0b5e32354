#include "zan/log/console.h"

#include <iostream>
#include <list>

#include "zan/base/mlcheck.h"
#include "zan/mt/thread.h"
#include "zan/platform/console_input.h"
#include "zan/platform/debugger.h"

namespace zan {

namespace {

// The charset of the terminal is that of the locale.
constexpr long TERMINAL_CODEPAGE = 0;

void show(std::wstring const& text) {
    std_err() << istr(to_ansi(iwstr(text), TERMINAL_CODEPAGE)) << std::flush;
}

}  // namespace

// Lives as long as the process: threads may print while, and after, the library goes down. What a
// user knows as its destruction puts it back to the beginning.
class ConsoleImpl {
public:
    static ConsoleImpl& instance() {
        static ConsoleImpl& screen = detail::lifelong([] { return new ConsoleImpl; });
        return screen;
    }

    void destroy() {
        close();
        MutexLock const guard(mutex_);
        cache_.clear();
        prompt_.clear();
        promptShown_ = false;
        setOn(true);
    }

    void print(iwstr const& text, bool newline) {
        if (platform::debuggerPresent()) platform::debugOutput(text.data(), text.size());
        if (!isOn()) return;
        std::wstring line(text);
        if (newline) line += L'\n';
        MutexLock const guard(mutex_);
        cache_.push_back(std::move(line));
    }

    // The conversion to wide text is spared while nobody would see it.
    void print(istr const& text, bool newline) {
        if (!isOn() && !platform::debuggerPresent()) return;
        print(iwstr(toWstring(ansi(text))), newline);
    }

    void open() {
        if (!isOn()) return;
        close();
        // Made ahead of the lock: a thread traces and logs from its constructor on.
        Handle<FlushThread> const thread(trackNew(new (__FILE__, __LINE__, "zan::ConsoleImpl::open")
                                                      FlushThread(this),
                                                  __FILE__, __LINE__, "zan::ConsoleImpl::open"));
        {
            MutexLock const guard(mutex_);
            if (thread_.get() != nullptr) return;
            thread_ = thread;
        }
        thread->startAndWait(0);
    }

    void close() {
        Handle<FlushThread> thread = currentThread();
        if (thread.get() != nullptr) {
            thread->stop();
            MutexLock const guard(mutex_);
            if (thread_.get() == thread.get()) thread_ = nullptr;
        }
        thread = nullptr;
        flush();
    }

    void flush() {
        Handle<FlushThread> const thread = currentThread();
        if (thread.get() != nullptr)
            thread->notify();
        else
            drain();
    }

    bool readline(std::wstring& line, iwstr const& prompt) {
        {
            MutexLock const guard(mutex_);
            if (prompt != iwstr(prompt_)) prompt_ = prompt;
            if (!promptShown_ && !prompt_.empty()) {
                show(prompt_);
                promptShown_ = true;
            }
        }
        if (platform::inputWaiting()) {
            std::string text;
            if (std::getline(std_in(), text)) {
                line = toWstring(ansi(istr(text)), TERMINAL_CODEPAGE);
                MutexLock const guard(mutex_);
                promptShown_ = false;
                return true;
            }
        }
        sleep(100);
        return false;
    }

    // Read without the lock; the flag itself can be bound to a configuration field.
    bool isOn() const { return __atomic_load_n(&on_, __ATOMIC_RELAXED); }
    void setOn(bool on) { __atomic_store_n(&on_, on, __ATOMIC_RELAXED); }
    bool volatile& on() { return on_; }

private:
    class FlushThread final : public SimpleThread {
    public:
        explicit FlushThread(ConsoleImpl* screen)
            : SimpleThread(nullptr, "screen"), screen_(screen) {}

    private:
        void onWork() override {
            screen_->drain();
            wait(Time::milliSeconds(100));
        }
        ConsoleImpl* screen_;
    };

    Handle<FlushThread> currentThread() {
        MutexLock const guard(mutex_);
        return thread_;
    }

    void drain() {
        std::list<std::wstring> lines;
        {
            MutexLock const guard(mutex_);
            if (cache_.empty()) return;
            lines.swap(cache_);
            if (promptShown_) lines.push_front(L"\n");
        }
        for (std::wstring const& line : lines)
            if (isOn()) show(line);
        MutexLock const guard(mutex_);
        promptShown_ = false;
    }

    Mutex mutex_;
    std::list<std::wstring> cache_;
    std::wstring prompt_;
    bool promptShown_ = false;  // it stands on the screen and no line has followed it
    Handle<FlushThread> thread_;
    bool on_ = true;
};

namespace {

ConsoleImpl& screen() {
    return ConsoleImpl::instance();
}

}  // namespace

void console::create() {
    screen();
}

void console::destroy() {
    screen().destroy();
}

void console::open() {
    screen().open();
}

void console::close() {
    screen().close();
}

void console::flush() {
    screen().flush();
}

void console::print(String const& text) {
    screen().print(istr(text), false);
}

void console::println(String const& text) {
    screen().print(istr(text), true);
}

void console::print(char const* text, unsigned long size) {
    screen().print(istr(text, size), false);
}

void console::println(char const* text, unsigned long size) {
    screen().print(istr(text, size), true);
}

void console::print(std::wstring const& text) {
    screen().print(iwstr(text), false);
}

void console::println(std::wstring const& text) {
    screen().print(iwstr(text), true);
}

void console::print(wchar_t const* text, unsigned long size) {
    screen().print(iwstr(text, size), false);
}

void console::println(wchar_t const* text, unsigned long size) {
    screen().print(iwstr(text, size), true);
}

bool console::readline(String& line, char const* prompt) {
    std::wstring wide;
    if (!readline(wide, toWstring(ansi(istr(prompt))).c_str())) return false;
    line = wide;
    return true;
}

bool console::readline(std::wstring& line, wchar_t const* prompt) {
    return screen().readline(line, iwstr(prompt));
}

bool console::isOn() {
    return screen().isOn();
}

void console::setOn(bool on) {
    screen().setOn(on);
}

bool volatile& console::on() {
    return screen().on();
}

std::istream& std_in() {
    return std::cin;
}

std::ostream& std_out() {
    return std::cout;
}

std::ostream& std_err() {
    return std::cerr;
}

std::ostream& std_log() {
    return std::cerr;
}

}  // namespace zan
