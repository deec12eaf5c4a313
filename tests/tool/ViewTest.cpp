// The page's server, asked by clients that are not the page.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>

#include <deque>
#include <nlohmann/json.hpp>

#include "support/ToolFixture.h"

namespace {

using test::Le;
using test::Section;
using namespace std::string_literals;

// A connection to a port of this machine, closed with this object.
class Client {
public:
    explicit Client(int port) : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }
    ~Client() { close(m_socket); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void Send(std::string_view bytes) const { send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
    bool IsClosedWithin(int milliseconds) const {
        pollfd descriptor{m_socket, POLLIN, 0};
        char byte;
        return poll(&descriptor, 1, milliseconds) == 1 && recv(m_socket, &byte, 1, 0) <= 0;
    }
    void EndSending() const { shutdown(m_socket, SHUT_WR); }
    // Returns: what comes until the server closes, or until the body of the first answer is complete.
    std::string Receive(bool isFirstOnly = true) const {
        std::string text;
        std::array<char, 65536> chunk;
        for (;;) {
            const std::size_t head = text.find("\r\n\r\n"), length = text.find("Content-Length: ");
            if (isFirstOnly && head != text.npos && length < head &&
                text.size() >= head + 4 + std::stoul(text.substr(length + 16))) {
                return text;
            }
            const ssize_t got = recv(m_socket, chunk.data(), chunk.size(), 0);
            if (got <= 0) return text;
            text.append(chunk.data(), static_cast<std::size_t>(got));
        }
    }

private:
    int m_socket;
};

struct ViewTest : test::ToolFixture {
    // Starts the server with these changes to the environment, as env(1) takes them, and arguments.
    void Start(const std::string& environment, const std::string& arguments) {
        m_process = fork();
        if (m_process != 0) return;
        for (const int number : {SIGINT, SIGTERM}) signal(number, SIG_DFL);
        const std::string command = "exec env " + environment + " HOME=" + m_home.Path() + " " ORM_TOOL " view " +
                                    arguments + " >address 2>err </dev/null";
        execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        _exit(127);
    }
    // The same, and waits for its address.
    void Serve(const std::string& arguments) {
        std::filesystem::remove("address");
        Start("-u DISPLAY", arguments);
        for (m_address.clear(); m_address.empty() || m_address.back() != '\n';) {
            int status = 0;
            ASSERT_EQ(waitpid(m_process, &status, WNOHANG), 0) << test::ReadAll("err");
            m_address = test::ReadAll("address");
        }
        m_address.pop_back();
        m_host = m_address.substr(7, m_address.find('/', 7) - 7);
        m_port = std::stoi(m_host.substr(m_host.find(':') + 1));
        m_token = m_address.substr(m_address.find('#') + 1);
    }
    // Returns: the exit code of the server after a signal.
    int End(int signal) {
        kill(m_process, signal);
        int status = 0;
        waitpid(std::exchange(m_process, 0), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    void TearDown() override {
        if (m_process != 0) End(SIGKILL);
    }

    std::string Head(const std::string& target, const std::string& more = "") const {
        return "GET " + target + " HTTP/1.1\r\nHost: " + m_host + "\r\n" + more + "\r\n";
    }
    std::string Token() const { return "X-Orm-Token: " + m_token + "\r\n"; }
    std::string Ask(const std::string& request) const {
        const Client client(m_port);
        client.Send(request);
        client.EndSending();
        return client.Receive();
    }
    // Returns: the answer to a question of the page.
    nlohmann::json Data(const std::string& question, const char* status = "200 OK") const {
        const std::string answer = Ask(Head("/data/" + question, Token()));
        EXPECT_EQ(answer.substr(0, 13 + std::strlen(status) - 4), "HTTP/1.1 " + std::string(status)) << question;
        return nlohmann::json::parse(answer.substr(answer.find("\r\n\r\n") + 4), nullptr, false);
    }

    pid_t m_process = 0;
    std::string m_address, m_host, m_token;
    int m_port = 0;
};

TEST_F(ViewTest, GivesDataToThePageOnly) {
    const std::string secret = "s3cr3t";
    m_folder.Write(secret + ".tdf", "TDF2" + Section(secret, 1, "x") + test::Trace(Le(0x8800000000000007, 8)));
    Serve("--no-open " + secret + ".tdf");
    const std::string port = std::to_string(m_port);
    EXPECT_EQ(m_address, "http://127.0.0.1:" + port + "/#" + m_token);
    EXPECT_EQ(m_token.size(), 32U);
    EXPECT_NE(test::ReadAll("err").find("ssh -L " + port + ":127.0.0.1:" + port), std::string::npos);
    const std::string info = "/data/info", host = "Host: " + m_host + "\r\n", token = Token(),
                      version = " HTTP/1.1\r\n", end = "\r\n\r\n", get = "GET " + info + version;
    std::string almost = m_token;
    almost.back() = almost.back() == '0' ? '1' : '0';
    const std::string longText(8200, 'a');
    const auto refuse = [&](const std::string& request, int status) {
        const std::string answer = Ask(request), shown = request.substr(0, 200) + '\n' + answer;
        EXPECT_TRUE(status == 0 || answer.substr(0, 12) == "HTTP/1.1 " + std::to_string(status)) << shown;
        EXPECT_NE(answer.substr(0, 12), "HTTP/1.1 200") << shown;
        EXPECT_EQ(answer.find(secret), std::string::npos) << shown;
        EXPECT_EQ(answer.find("Access-Control"), std::string::npos) << shown;
        const bool isWithoutBody = answer.size() > 4 && answer.substr(answer.size() - 4) == end;
        EXPECT_EQ(isWithoutBody, request.substr(0, 5) == "HEAD ") << shown;
    };
    // Headers that lack the token, or say that another page asks.
    for (const std::string& headers :
         {""s, "X-Orm-Token: \r\n"s, "X-Orm-Token: " + almost + "\r\n", "X-Orm-Token: " + m_token.substr(1) + "\r\n",
          "X-Orm-Token: " + m_token + "0\r\n", token + token, token + "X-Orm-Token: x\r\n",
          "X-Orm-Token:\r\n " + almost + "\r\n",
          "Cookie: token=" + m_token + "\r\nAuthorization: Bearer " + m_token + "\r\n",
          token + "Origin: http://example.org\r\n", token + "Origin: null\r\n",
          token + "Sec-Fetch-Site: cross-site\r\n", token + "Sec-Fetch-Site: same-site\r\n"}) {
        refuse(Head(info, headers), 403);
    }
    refuse(Head(info + "?token=" + m_token), 403);
    // Other hosts than the server's, none, and several.
    for (const std::string& hosts :
         {""s, "Host: localhost:" + port + "\r\n", "Host: example.org\r\n"s, "Host: 127.0.0.1\r\n"s,
          "Host: 127.0.0.1:1\r\n"s, "Host: [::1]:" + port + "\r\n", host + host, host + "Host: example.org\r\n"}) {
        refuse(get + hosts + token + "\r\n", 421);
    }
    for (const std::string method : {"DELETE", "OPTIONS", "HEAD", "TRACE", "get"})
        refuse(method + " " + info + version + host + token + "\r\n", 405);
    for (const std::string& target : {"http://" + m_host + info, "//" + m_host + info, "/../data/info"s,
                                      "/%2e%2e/etc/passwd"s, "/data/../data/info"s, "/data/%69nfo"s, "/data//info"s,
                                      "/data/info/"s, "/data/info%00"s, "/" + secret + ".tdf", "/?a=b"s}) {
        refuse(Head(target, token), 404);
    }
    for (const std::string question :
         {"info?x=1", "range?from=0&to=1", "range?from=0&to=1&columns=0", "range?from=0&to=1&columns=4097",
          "range?from=2&to=1&columns=1", "range?from=0&from=0&to=1&columns=1", "range?from=%&to=1&columns=1",
          "range?from=-1&to=1&columns=1", "range?from=18446744073709551616&to=1&columns=1", "words?from=0&count=4097",
          "find?value=1&type=1&from=0&direction=next", "find?type=256&from=0&direction=next",
          "find?from=0&direction=up"}) {
        refuse(Head("/data/" + question, token), 400);
    }
    // clang-format off
    const std::pair<std::string, int> others[] = {
        {"POST " + info + version + host + token + "Content-Length: 0\r\n\r\n", 405},
        {"PUT " + info + version + host + token + "Content-Length: 3\r\n\r\nabc", 400},
        {"CONNECT " + m_host + version + host + token + "\r\n", 405},
        {"\x01\x02 " + info + version + host + token + "\r\n", 400}, {Head("/" + longText, token), 400},
        {Head(info, token + "X: " + longText + "\r\n"), 400},
        {Head(info, token + "Content-Length: 5\r\n") + "hello", 400},
        {Head(info, token + "Transfer-Encoding: chunked\r\n") + "0\r\n\r\n", 400},
        {Head(info, token + "Content-Length: 1\r\nTransfer-Encoding: chunked\r\n") + "0\r\n\r\n", 400},
        {get + " Host: " + m_host + "\r\n" + token + "\r\n", 400}, {"GET " + info + "\r\n", 400},
        {"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", 400}, {"\x16\x03\x01\x02\x00\x01\x00\x01\xFC\x03\x03"s, 0},
        {std::string(9000, '\0'), 400}, {std::string(9000, '\n'), 0}, {get + host + "X-Orm", 0}, {"", 0}};
    // clang-format on
    for (const auto& [request, status] : others) refuse(request, status);
    // The page itself holds nothing of the capture, and may be opened from elsewhere.
    EXPECT_EQ(Ask(Head("/", "Sec-Fetch-Site: cross-site\r\nSec-Fetch-Mode: navigate\r\n")).substr(0, 15),
              "HTTP/1.1 200 OK");
    const std::string page = Ask(Head("/"));
    EXPECT_EQ(page.substr(0, 15), "HTTP/1.1 200 OK");
    EXPECT_EQ(page.find(secret), std::string::npos);
    EXPECT_EQ(page.find(m_token), std::string::npos);
    for (const char* header :
         {"Content-Security-Policy: default-src 'none'; script-src 'sha256-", "; frame-ancestors 'none'\r\n",
          "X-Content-Type-Options: nosniff\r\n", "Referrer-Policy: no-referrer\r\n", "Cache-Control: no-store\r\n"}) {
        EXPECT_NE(page.find(header), std::string::npos) << header;
    }
    EXPECT_EQ(Data("info")["sections"][0]["name"], secret);
    // Requests that come in pieces, and several on one connection.
    const Client client(m_port);
    const std::string request = Head(info, token);
    for (const char c : request) client.Send({&c, 1});
    EXPECT_NE(client.Receive().find(secret), std::string::npos);
    client.Send(request + Head("/nothing", "Connection: close\r\n"));
    const std::string both = client.Receive(false);
    EXPECT_TRUE(both.find(secret) != both.npos && both.find("HTTP/1.1 404") != both.npos) << both;
    EXPECT_EQ(End(SIGTERM), 0);
}

TEST_F(ViewTest, IsDelayedByNobodyAndLeavesNothing) {
    m_folder.Write("p.bin", std::string(8 * 100000, '1'));
    Serve("--no-open p.bin");
    std::deque<Client> slow;
    for (unsigned n = 0; n < 300; ++n) {
        slow.emplace_back(m_port).Send("GET /data/info HTTP/1.1\r\nHost");
        if (n == 64) {
            EXPECT_EQ(Data("info")["samples"], "100000");
        }
    }
    EXPECT_TRUE(slow.back().IsClosedWithin(5000));    // one more than it keeps
    EXPECT_TRUE(slow.front().IsClosedWithin(20000));  // a request has to come within 10 seconds
    while (slow.size() > 64) slow.pop_back();         // so many that it takes others again
    for (int n = 0; n < 1000 && Ask(Head("/data/info", Token())).empty(); ++n) continue;
    EXPECT_EQ(Data("range?from=0&to=100000&columns=3")["types"]["0x31"].dump(), "[33333,33333,33334]");
    std::filesystem::copy("p.bin", "other.bin");
    std::filesystem::rename("other.bin", "p.bin");
    EXPECT_EQ(Data("info", "409 Conflict")["error"], "was replaced or deleted while it was in view");
    EXPECT_EQ(End(SIGTERM), 0);
    Serve("--no-open p.bin");
    std::filesystem::resize_file("p.bin", 1000);
    EXPECT_EQ(Data("info", "409 Conflict")["error"], "became shorter while it was being read");
    const test::Result taken = Tool("view --no-open --port " + std::to_string(m_port) + " p.bin");
    EXPECT_EQ(taken.code, 1);
    EXPECT_NE(taken.err.find("port " + std::to_string(m_port) + ": Address already in use"), std::string::npos);
    EXPECT_EQ(End(SIGINT), 0);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator("."), {}), 3);  // the capture, address and err
}

TEST_F(ViewTest, EndsWhileRequestsWait) {
    std::filesystem::resize_file(m_folder.Write("p.bin", ""), 64 << 20);
    Serve("--no-open p.bin");
    std::deque<Client> clients;
    for (int n = 0; n < 50; ++n)
        clients.emplace_back(m_port).Send(Head("/data/find?type=1&from=0&direction=next", Token()));
    EXPECT_NE(clients.front().Receive(), "");
    EXPECT_EQ(End(SIGINT), 0);
}

// A step to the first stamp of a range, or of the words, comes from the last stamp before it, however far away that is.
TEST_F(ViewTest, FindsTheStampBeforeARange) {
    std::string words;
    for (unsigned n = 0; n < 20000; ++n)
        words += Le(n == 3 ? 0x8800000000000064 : n == 15000 ? 0x8800000000000032 : n, 8);
    m_folder.Write("p.bin", words + Le(0x88000000FFFFFFFF, 8));
    Serve("--no-open p.bin");
    EXPECT_EQ(Data("range?from=14990&to=15010&columns=20")["steps_back"][10], 1);
    EXPECT_EQ(Data("range?from=20000&to=20001&columns=1")["greatest_step"][0], std::to_string(0xFFFFFFFF - 0x32));
    EXPECT_EQ(Data("words?from=15000&count=1")["words"][0]["since"], "-50");
    // It is in view until it is written to.
    std::filesystem::last_write_time("p.bin", std::filesystem::file_time_type::clock::now() + std::chrono::hours(1));
    EXPECT_EQ(Data("info", "409 Conflict")["error"], "was changed while it was in view");
    EXPECT_EQ(End(SIGTERM), 0);
}

// xdg-open gets a file that only the user can read, and that is gone afterwards.
TEST_F(ViewTest, OpensTheBrowserWithoutShowingTheToken) {
    m_folder.Write("p.bin", "12345678");
    std::filesystem::create_directory("bin");
    m_folder.Write(
        "bin/xdg-open",
        "#!/bin/sh\nstat -c '%a' \"$1\" >mode; cp \"$1\" page; echo \"$1\" >opened.new; mv opened.new opened\n");
    std::filesystem::permissions("bin/xdg-open", std::filesystem::perms::all);
    std::filesystem::create_directory("run");
    Start("DISPLAY=:9 PATH=\"" + m_folder / "bin" + ":$PATH\" XDG_RUNTIME_DIR=" + m_folder / "run", "p.bin");
    while (!std::filesystem::exists("opened")) usleep(1000);
    const std::string address = test::ReadAll("address"), opened = test::ReadAll("opened");
    EXPECT_EQ(test::ReadAll("mode"), "600\n");
    EXPECT_NE(test::ReadAll("page").find("url=" + address.substr(0, address.size() - 1)), std::string::npos);
    EXPECT_EQ(opened.find(address.substr(address.find('#') + 1, 32)), std::string::npos);
    EXPECT_EQ(End(SIGTERM), 0);
    EXPECT_TRUE(std::filesystem::is_empty("run"));
}

TEST_F(ViewTest, WritesAReport) {
    m_folder.Write("a<b.tdf", "TDF2" + Section("</script>", 1, "x") +
                                  test::Trace(Le(0x8800000000000007, 8) + Le(1, 8) + Le(0x8800000000000008, 8)));
    EXPECT_EQ(Tool("view 'a<b.tdf' --html out.html --words 0:1").code, 0);
    const std::string page = test::ReadAll("out.html");
    EXPECT_NE(page.find("connect-src 'none'"), std::string::npos);
    EXPECT_NE(page.find("a\\u003cb.tdf"), std::string::npos);
    EXPECT_EQ(page.find(m_folder.Path()), std::string::npos);
    EXPECT_NE(page.find("\"word\":\"0x8800000000000007\""), std::string::npos);
    EXPECT_EQ(page.find("0x0000000000000001"), std::string::npos);
    EXPECT_EQ(Tool("view 'a<b.tdf' --html out.html").code, 1);
    EXPECT_EQ(Tool("view gone --html no.html").code, 4);
    EXPECT_EQ(Tool("view 'a<b.tdf' --html ''").code, 2);
    EXPECT_FALSE(std::filesystem::exists("no.html"));
    EXPECT_EQ(Tool("view 'a<b.tdf' --html no.html --words 0:65537").code, 2);

    // The last ticks that there can be, and what is missing.
    EXPECT_EQ(Tool("view 'a<b.tdf' --html last.html --reference 0xfffffffffffffff7").code, 0);
    EXPECT_NE(
        test::ReadAll("last.html").find("\"to\":\"18446744073709551615\",\"columns\":1,\"folded\":\"0\",\"lanes\":[{"),
        std::string::npos);
    m_folder.Write("none.tdf", "TDF2");
    m_folder.Write("cut.tdf", ("TDF2" + test::Trace("123456789abcdef0")).substr(0, 40));
    const std::tuple<std::string, int, std::string> rows[] = {
        {"none.tdf", 4, "none.tdf: BinTraceData section cannot be located in the file.\n"},
        {"cut.tdf", 3, "cut.tdf: 1 of 2 samples is missing\n"},
        {"'a<b.tdf' --words 1:4", 3, "a<b.tdf: 1 of 3 samples is missing: the trace ends before sample 3\n"}};
    for (const auto& [arguments, code, err] : rows) {
        const test::Result result = Tool("view --html lacks.html " + arguments);
        EXPECT_EQ(result.code, code) << arguments;
        EXPECT_EQ(result.err, "orm-trace: " + err);
        EXPECT_TRUE(std::filesystem::remove("lacks.html")) << arguments;
    }
}

}  // namespace
