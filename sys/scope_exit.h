#pragma once

#include <utility>

// Runs a function when the scope ends, unless dismissed.
template <typename Function>
class ScopeExit {
public:
    explicit ScopeExit(Function function) : function_(std::move(function)) {}
    ~ScopeExit() {
        if (armed_) {
            function_();
        }
    }
    ScopeExit(const ScopeExit&) = delete;
    ScopeExit& operator=(const ScopeExit&) = delete;

    void Dismiss() { armed_ = false; }

private:
    Function function_;
    bool armed_ = true;
};
