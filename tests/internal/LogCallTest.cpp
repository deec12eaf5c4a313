// The call sites of the log.
#include "source_utilities/internal/LogCall.h"

#include <utility>

#include "support/LogCapture.h"

namespace {

TEST(LogCall, EvaluatesItsArgumentsOnlyWhenItWrites) {
    int evaluated = 0;
    const auto evaluations = [&] {
        evaluated = 0;
        ORM_LOG_TRACE("%d", ++evaluated);
        ORM_LOG_ERROR("%d", ++evaluated);
        ORM_LOG_ENTRY("Unit", ++evaluated, "Name");
        return evaluated;
    };
    const test::LogCapture log(9);
    ORM_LUX::uLogger* const logger = std::exchange(log.system.m_pLogger, nullptr);
    EXPECT_EQ(evaluations(), 0) << "a level without a logger";
    log.system.m_pLogger = logger;
    for (const auto& [level, count] : {std::pair(0, 0), {1, 2}, {2, 2}, {3, 3}}) {
        log.system.m_loggingLevel = level;
        EXPECT_EQ(evaluations(), count) << level;
    }
    const std::string lines = "M     <time> 1\n    E <time> 2\n";
    EXPECT_EQ(log.Text(), lines + lines + lines + "  F    Unit #3  Name(...)\n");
}

}  // namespace
