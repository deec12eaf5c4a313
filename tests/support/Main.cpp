// Runs the tests in a home and an environment of their own.
#include <csignal>

#include "support/Files.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const test::TemporaryFolder home;
    umask(022);
    // What starts the tests may ignore them, as nohup does.
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE}) std::signal(number, SIG_DFL);
    setenv("HOME", home.Path().c_str(), 1);
    for (const char* name : {"ORM_TRACE_DEBUGCLIENT_PID", "ORM_TRACE_LOGGING_DIR"}) unsetenv(name);
    // Logging is on, so that each operation's lines are formatted in every test.
    setenv("ORM_TRACE_LOGGING", "3", 1);
    return RUN_ALL_TESTS();
}
