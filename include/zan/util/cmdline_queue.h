#pragma once

#include <list>
#include <string>

#include "zan/base/base_type_time.h"
#include "zan/mt/thread.h"

namespace zan {

// Receives the lines that a CmdLineThread reads, on that thread.
class ZAN_EXPORT CmdLineCallback : public Interface {
public:
    ~CmdLineCallback() override;

protected:
    friend class CmdLineThread;
    virtual void onCmdLine(std::wstring const& line) = 0;
};

// Reads lines from the console. The lines "prompt()" and "noprompt()" turn the prompt on and off
// and go no further, as empty lines do.
//
// Ownership: the callback is not owned. Threads: as SimpleThread; one in a process, since one
// thread at a time reads from the console.
class ZAN_EXPORT CmdLineThread : public SimpleThread {
public:
    CmdLineThread(istr const& name, CmdLineCallback* callback, iwstr const& prompt);

protected:
    void onWork() override;

private:
    CmdLineCallback* callback_;
    std::wstring prompt_;
    bool noPrompt_ = false;
};

// Lets a main loop take commands from the console without being held up by it.
//
//     zan::CmdLineQueue commands;
//     commands.open(L"> ");
//     std::wstring line;
//     while (commands.get(line, zan::Time::forever())) obey(line);
//     commands.close();
//
// Threads: get() and close() from any. The destructor does not close: whoever opens it closes it.
class ZAN_EXPORT CmdLineQueue : public CmdLineCallback, noncopyable {
public:
    CmdLineQueue() = default;
    ~CmdLineQueue() override;

    // False where the thread does not live. A second open() replaces the thread.
    bool open(iwstr const& prompt);
    // Wakes all that wait in get(). Lines not yet taken stay.
    void close();
    // The next line in the order of reading. False where none comes in time, or by the close();
    // Time::forever() waits without end, Time() not at all.
    bool get(std::wstring& line, Time timeOut);

protected:
    void onCmdLine(std::wstring const& line) override;

private:
    std::list<std::wstring> lines_;
    Monitor monitor_;
    Handle<CmdLineThread> thread_;
};

}  // namespace zan
