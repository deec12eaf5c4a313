#include "python/core/Unlocked.h"

#include <cxxabi.h>
#include <unistd.h>

namespace orm_trace {

Unlocked::Unlocked() noexcept : m_state(PyEval_SaveThread()), m_isMain(gettid() == getpid()) {}

void Unlocked::Lock() noexcept {
    try {
        PyEval_RestoreThread(m_state);
    } catch (const abi::__forced_unwind&) {
        // Python ends the thread. Unwinding would destroy objects of Python without its lock.
        for (;;) pause();
    }
}

void Unlocked::CheckSignals() {
    if (!m_isMain) return;
    Lock();
    const bool isRaised = PyErr_CheckSignals() != 0;
    if (!isRaised) {
        m_state = PyEval_SaveThread();
        return;
    }
    pybind11::error_already_set error;
    m_state = PyEval_SaveThread();
    throw error;
}

}  // namespace orm_trace
