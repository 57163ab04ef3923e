// What keeps the controller busy: the launch sequence, an open alert, a running command. Work
// asked for over the bus waits until none is left, so that it never runs inside the event loop
// of an alert or of a command that has not returned yet.
#pragma once

#include <functional>
#include <utility>

namespace orvane {

class BusyCount {
public:
    // `becameIdle` runs each time the last scope ends.
    explicit BusyCount(std::function<void()> becameIdle) : becameIdle_(std::move(becameIdle)) {}
    BusyCount(const BusyCount&) = delete;
    BusyCount& operator=(const BusyCount&) = delete;

    bool isIdle() const { return count_ == 0; }

    // Busy for the life of the scope.
    class Scope {
    public:
        explicit Scope(BusyCount& count) : count_(count) { ++count_.count_; }
        ~Scope() {
            if (--count_.count_ == 0 && count_.becameIdle_) count_.becameIdle_();
        }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        BusyCount& count_;
    };

private:
    int count_ = 0;
    std::function<void()> becameIdle_;
};

}  // namespace orvane
