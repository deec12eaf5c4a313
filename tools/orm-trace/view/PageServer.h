// Serving the page on this machine.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace orm_trace {

class PageData;

// Serves the page at 127.0.0.1, to programs on this machine only.
class PageServer {
public:
    // port: 0 for any that is free. Errors: Error (kFailed): the port cannot be used.
    explicit PageServer(std::uint16_t port);
    ~PageServer();
    PageServer(const PageServer&) = delete;
    PageServer& operator=(const PageServer&) = delete;

    std::uint16_t Port() const noexcept;
    // Returns: the address of the page, with the token that it needs to get data.
    std::string Address() const;

    // From now on SIGINT and SIGTERM end Run, also when they come before it; they do not end the process. One that is
    // ignored stays so. REQUIRES: called once at most.
    void StopAtSignals();
    // Answers requests until Stop, or until a signal after StopAtSignals. page, policy: the page, and its
    // Content-Security-Policy. A client that is slow delays no other; one that takes longer than 10 s for a request, or 30 s
    // for an answer, is left. REQUIRES: called once.
    void Run(const std::string& page, const std::string& policy, PageData& data);
    // Threads: may be called from any.
    void Stop();

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace orm_trace
