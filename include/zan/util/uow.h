#pragma once

#include <atomic>
#include <list>
#include <vector>

#include "zan/base/base_type_string.h"
#include "zan/util/cmdline.h"

namespace zan {

// The frame of a piece of application logic with a start, a loop and an end, run in the caller's
// thread. Units form a tree.
//
// Ownership: a unit deletes its children; derived units put them into children(). The parent is not
//   owned.
// Threads: start() and the hooks run in one thread; stop(), stopAll() and running() may be called
// by
//   any. Of two racing stops the later code wins.
class ZAN_EXPORT UnitOfWork {
public:
    // Does not enter itself in the parent's children.
    explicit UnitOfWork(char const* name = "", UnitOfWork* parent = nullptr);
    UnitOfWork(UnitOfWork const&) = delete;
    UnitOfWork& operator=(UnitOfWork const&) = delete;
    virtual ~UnitOfWork();

    virtual void on_init() = 0;
    // Called again and again without pause: whoever must not spin blocks in it.
    virtual void on_loop() = 0;
    virtual void on_fini() = 0;
    // For derived units to give a meaning to; the frame never calls it.
    virtual void run(String const& what);

    // on_init, on_loop until stop(), on_fini; gives the exit code. An Exception out of on_loop is
    // logged and gives 1, another std::exception 2, with on_fini run; anything else, and whatever
    // leaves on_init or on_fini, leaves start().
    int start();
    // Ends the loop after its present call. Does not wait.
    void stop(int code);
    // This unit and all its parents.
    void stopAll(int code);
    bool running() const { return running_.load(std::memory_order_acquire); }

    String& name() { return name_; }
    String const& name() const { return name_; }
    UnitOfWork* parent() const { return parent_; }
    UnitOfWork* root();
    // The names from the root down, joined with "/".
    String path() const;
    CmdLine& cmdline() { return cmdline_; }
    CmdLine const& cmdline() const { return cmdline_; }
    std::vector<String>& args() { return cmdline_.args(); }
    std::vector<String> const& args() const { return cmdline_.args(); }

protected:
    std::list<UnitOfWork*>& children() { return children_; }
    std::list<UnitOfWork*> const& children() const { return children_; }

private:
    std::atomic<bool> running_{false};
    std::atomic<int> exitCode_{0};
    UnitOfWork* parent_;
    std::list<UnitOfWork*> children_;
    String name_;
    CmdLine cmdline_;
};

// The unit that stands for the process: derive, fill in the hooks, return what start() returns.
// Constructing it makes it app(). It must outlive all calls of app().
class ZAN_EXPORT UowMain : public UnitOfWork {
public:
    UowMain(int argc, wchar_t** argv);

    void on_init() override {}
    void on_loop() override {}
    void on_fini() override {}

    // The program's name is not counted.
    unsigned long argCount() const { return args().size(); }
    // Empty beyond the end.
    String const& argAt(unsigned long i) const;
    String const& argCurrent() const { return argAt(cursor_); }
    unsigned long argLeft() const { return argCount() - cursor_; }
    // Moves on, then gives the current one: the first argument is argCurrent().
    String const& argNext() const;

private:
    String empty_;
    mutable unsigned long cursor_ = 0;
};

// Holds the process's unit. No lock: set on the main thread before other threads ask for it.
class ZAN_EXPORT main_uow {
public:
    static main_uow& instance();
    UnitOfWork* get() const { return unit_; }
    void set(UnitOfWork* unit) { unit_ = unit; }

private:
    UnitOfWork* unit_ = nullptr;
};

// The unit of the process. Throws NullPointerException where there is none.
ZAN_EXPORT UnitOfWork& app();

// Takes SIGINT and SIGTERM as requests to end: calls the callback, with the signal's number, on a
// thread of its own, where locks and logging are as good as anywhere. Every signal calls it, so a
// second one may mean "now". With no callback the signal calls app().stopAll(0) where there is an
// app(). The signals' former treatment comes back with the destructor. One object at a time.
class ZAN_EXPORT QuitHandler {
public:
    explicit QuitHandler(void (*callback)(int) = nullptr);
    QuitHandler(QuitHandler const&) = delete;
    QuitHandler& operator=(QuitHandler const&) = delete;
    ~QuitHandler();
    void setCallback(void (*callback)(int));
    void (*getCallback() const)(int);
};

}  // namespace zan
