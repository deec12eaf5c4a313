#include "tools/orm-trace/view/PageServer.h"

#include <fcntl.h>
#include <sys/random.h>

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <optional>
#include <utility>

#include "capture/Error.h"
#include "capture/Text.h"
#include "tools/orm-trace/view/PageResponder.h"

namespace orm_trace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

constexpr std::size_t kMaxHead = 8 * 1024;  // bytes of a request
constexpr std::size_t kMaxConnections = 256;
constexpr std::chrono::seconds kRequestTime{10};
constexpr std::chrono::seconds kAnswerTime{30};
constexpr std::chrono::seconds kCloseTime{2};
constexpr std::chrono::milliseconds kRetryTime{100};  // when no connection can be accepted
constexpr unsigned kThreads = 2;
constexpr std::uint16_t kDefaultPort = 80;  // which clients leave out of addresses

// Returns: 128 random bits, as digits. Errors: Error (kFailed).
std::string MakeToken() {
    std::string bytes(16, '\0');
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw MakeSystemError(ErrorKind::kFailed, "random numbers", errno);
    }
    return HexOf(bytes);
}

bool IsIgnored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void CloseOnExec(tcp::socket::native_handle_type descriptor) { fcntl(descriptor, F_SETFD, FD_CLOEXEC); }

// What the connections share. All but the computing of answers is done by one thread.
struct Service {
    PageResponder responder;
    asio::io_context& context;
    asio::thread_pool& threads;
    std::size_t connections = 0;
};

// A connection to a client, which exists while an operation on it is pending.
class Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(tcp::socket socket, Service& service) : m_stream(std::move(socket)), m_service(service) {
        error_code ignored;
        m_stream.socket().set_option(tcp::no_delay(true), ignored);
        ++m_service.connections;
    }
    ~Connection() { --m_service.connections; }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void Read() {
        m_parser.emplace();
        m_parser->header_limit(kMaxHead);
        m_parser->body_limit(std::uint64_t{0});
        m_stream.expires_after(kRequestTime);
        http::async_read(m_stream, m_buffer, *m_parser,
                         [self = shared_from_this()](error_code error, std::size_t) { self->OnRead(error); });
    }

private:
    void OnRead(error_code error) {
        m_stream.expires_never();
        if (error.category() == http::make_error_code(http::error::end_of_stream).category()) {
            if (error == http::error::end_of_stream || error == http::error::partial_message) return Close();
            m_isLast = true;
            return Write(m_service.responder.Refuse(http::status::bad_request));
        }
        if (error) return;  // the client has left, or is too slow
        m_isLast = !m_parser->get().keep_alive();
        PageRequest request = m_parser->release();
        if (!PageResponder::AsksForData(request)) return Write(m_service.responder.Respond(request));
        // The thread that computes the answer keeps no reference: this one destroys the connection.
        asio::post(m_service.threads, [self = shared_from_this(), request = std::move(request)]() mutable {
            PageResponse response = self->m_service.responder.Respond(request);
            asio::io_context& context = self->m_service.context;
            asio::post(context, [self = std::move(self), response = std::move(response)]() mutable {
                self->Write(std::move(response));
            });
        });
    }

    void Write(PageResponse response) {
        m_response = std::move(response);
        m_response.keep_alive(!m_isLast);
        m_stream.expires_after(kAnswerTime);
        http::async_write(m_stream, m_response, [self = shared_from_this()](error_code error, std::size_t) {
            if (error) return;
            self->m_isLast ? self->Close() : self->Read();
        });
    }

    // Whatever the client still sends is read: otherwise it may lose the answer.
    void Close() {
        error_code ignored;
        m_stream.socket().shutdown(tcp::socket::shutdown_send, ignored);
        m_stream.expires_after(kCloseTime);
        Drain();
    }
    void Drain() {
        m_buffer.clear();
        m_stream.async_read_some(m_buffer.prepare(kMaxHead),
                                 [self = shared_from_this()](error_code error, std::size_t) {
                                     if (!error) self->Drain();
                                 });
    }

    beast::tcp_stream m_stream;
    Service& m_service;
    beast::flat_buffer m_buffer{2 * kMaxHead};
    std::optional<http::request_parser<http::empty_body>> m_parser;
    PageResponse m_response;
    bool m_isLast = false;
};

}  // namespace

class PageServer::Impl {
public:
    explicit Impl(std::uint16_t port) {
        const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), port);
        error_code error;
        m_acceptor.open(endpoint.protocol(), error);
        if (!error) CloseOnExec(m_acceptor.native_handle());
        if (!error) m_acceptor.set_option(tcp::acceptor::reuse_address(true), error);
        if (!error) m_acceptor.bind(endpoint, error);
        if (!error) m_acceptor.listen(tcp::acceptor::max_listen_connections, error);
        if (error) throw Error(ErrorKind::kFailed, "port " + std::to_string(port), error.message());
        m_host = "127.0.0.1";
        if (Port() != kDefaultPort) m_host += ":" + std::to_string(Port());
    }

    std::uint16_t Port() const { return m_acceptor.local_endpoint().port(); }
    std::string Address() const { return "http://" + m_host + "/#" + m_token; }

    void StopAtSignals() {
        for (const int signal : {SIGINT, SIGTERM}) {
            if (!IsIgnored(signal)) m_signals.add(signal);
        }
        m_signals.async_wait([this](error_code error, int) {
            if (!error) m_context.stop();
        });
    }

    void Run(const std::string& page, const std::string& policy, PageData& data) {
        m_service.emplace(
            Service{PageResponder(page, policy, m_host, m_token, data), m_context, m_threads.emplace(kThreads)});
        Accept();
        m_context.run();
        m_threads->stop();  // what is queued is for nobody
        m_threads->join();
    }

    void Stop() { m_context.stop(); }

private:
    void Accept() {
        m_acceptor.async_accept([this](error_code error, tcp::socket socket) {
            if (error) {  // no descriptor is free, for example
                m_retry.expires_after(kRetryTime);
                return m_retry.async_wait([this](error_code) { Accept(); });
            }
            CloseOnExec(socket.native_handle());
            if (m_service->connections < kMaxConnections) {
                std::make_shared<Connection>(std::move(socket), *m_service)->Read();
            }
            Accept();
        });
    }

    // Connections refer to the service and to the context. What holds one is the context or the threads' queue, which end
    // before these.
    std::optional<Service> m_service;
    asio::io_context m_context{1};
    tcp::acceptor m_acceptor{m_context};
    asio::steady_timer m_retry{m_context};
    asio::signal_set m_signals{
        m_context};  // until the end: a second signal must not end the process before it cleans up
    std::string m_host;
    std::string m_token = MakeToken();
    std::optional<asio::thread_pool> m_threads;  // that compute answers
};

PageServer::PageServer(std::uint16_t port) : m_impl(std::make_unique<Impl>(port)) {}

PageServer::~PageServer() = default;

std::uint16_t PageServer::Port() const noexcept { return m_impl->Port(); }

std::string PageServer::Address() const { return m_impl->Address(); }

void PageServer::StopAtSignals() { m_impl->StopAtSignals(); }

void PageServer::Run(const std::string& page, const std::string& policy, PageData& data) {
    m_impl->Run(page, policy, data);
}

void PageServer::Stop() { m_impl->Stop(); }

}  // namespace orm_trace
