#include "zan/util/cmdline_queue.h"

#include "zan/base/mlcheck.h"
#include "zan/log/console.h"
#include "zan/log/log_tracer.h"

namespace zan {

CmdLineCallback::~CmdLineCallback() = default;

CmdLineThread::CmdLineThread(istr const& name, CmdLineCallback* callback, iwstr const& prompt)
    : SimpleThread(nullptr, String(name).c_str()), callback_(callback), prompt_(prompt) {}

void CmdLineThread::onWork() {
    std::wstring line;
    std::wstring const prompt = noPrompt_ ? std::wstring() : prompt_;
    if (!console::readline(line, prompt.c_str()) || line.empty()) return;
    if (line == L"prompt()") {
        ZAN_INFO(detail::zanLogger(), "turn on prompt");
        noPrompt_ = false;
    } else if (line == L"noprompt()") {
        ZAN_INFO(detail::zanLogger(), "turn off prompt");
        noPrompt_ = true;
    } else {
        callback_->onCmdLine(line);
    }
}

CmdLineQueue::~CmdLineQueue() = default;

bool CmdLineQueue::open(iwstr const& prompt) {
    Handle<CmdLineThread> const thread(ZAN_NEW(CmdLineThread("cmdline", this, prompt)));
    Handle<CmdLineThread> before(thread);
    {
        MonitorLock const guard(monitor_);
        before.swap(thread_);
    }
    // Two threads would take each other's lines.
    if (before.get() != nullptr) before->stop();
    thread->startAndWait(0);
    return thread->living();
}

void CmdLineQueue::close() {
    Handle<CmdLineThread> thread;
    {
        MonitorLock const guard(monitor_);
        monitor_.notifyAll();
        thread.swap(thread_);
    }
    if (thread.get() != nullptr) thread->stop();
}

bool CmdLineQueue::get(std::wstring& line, Time timeOut) {
    MonitorLock const guard(monitor_);
    if (lines_.empty()) {
        if (timeOut == Time::forever())
            monitor_.wait();
        else if (!monitor_.timedWait(timeOut))
            return false;
        if (lines_.empty()) return false;
    }
    line = std::move(lines_.front());
    lines_.pop_front();
    return true;
}

void CmdLineQueue::onCmdLine(std::wstring const& line) {
    MonitorLock const guard(monitor_);
    lines_.push_back(line);
    monitor_.notify();
}

}  // namespace zan
