// The benchmarks, as one program, so that the participants of a comparison run interleaved. ratios.py runs it.
#include "bench/Common.h"

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    try {
        bench::RegisterRead();
        bench::RegisterFind();
        bench::RegisterSave();
        bench::RegisterLog();
        bench::RegisterStamp();
        bench::RegisterCommands();
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
    benchmark::Shutdown();
}
