// The call sites of the log.
#include "source_utilities/LogCall.h"

#include <gtest/gtest.h>

#include "support/Files.h"

namespace {

TEST(LogCall, EvaluatesItsArgumentsOnlyWhenItWrites) {
    const test::TemporaryFolder folder;
    ORM_LUX::uLogSystem& system = *ORM_LUX::uLogSystem::GetLogSystem();
    int evaluated = 0;
    const auto logAll = [&] {
        ORM_LOG_TRACE("%d", ++evaluated);
        ORM_LOG_ERROR("%d", ++evaluated);
        ORM_LOG_ENTRY("Unit", ++evaluated, "Name");
    };
    system.m_loggingLevel = 9;
    logAll();
    EXPECT_EQ(evaluated, 0) << "a level without a logger";
    system.m_loggingLevel = 0;
    ASSERT_TRUE(system.InitLogEx("log", 0, folder.Path().c_str()));
    const struct {
        int setting;
        int evaluated;
    } rows[] = {{0, 0}, {1, 2}, {3, 2}, {6, 3}};
    for (const auto& row : rows) {
        evaluated = 0;
        system.SetLoggingLevel(row.setting);
        system.m_pLogger->m_logToStdio = false;
        logAll();
        EXPECT_EQ(evaluated, row.evaluated) << row.setting;
    }
    const std::string log = test::ReadAll(folder / "log");
    EXPECT_EQ(log.substr(log.rfind("  F")), "  F    Unit #3  Name(...)\n");
    system.m_pLogger->EnableOutput(false);
}

}  // namespace
