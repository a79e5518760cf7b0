// For sequences of steps that must all be done even if a driver throws in one of them.
#ifndef AGENT_FIRSTEXCEPTION_H
#define AGENT_FIRSTEXCEPTION_H

#include <exception>

/// Runs one step at a time, keeps the first exception, and throws it when asked to.
class FirstException {
public:
    template <class Step>
    void Run(Step step) {
        try {
            step();
        } catch (...) {
            if (!first_) first_ = std::current_exception();
        }
    }

    void Rethrow() const {
        if (first_) std::rethrow_exception(first_);
    }

private:
    std::exception_ptr first_;
};

#endif
