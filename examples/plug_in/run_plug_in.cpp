// Loads a plug-in and lets it work on a capture: run_plug_in PLUG_IN CAPTURE.tdf
#include <dlfcn.h>

#include <cstdio>

#include "source_utilities/uDll.h"

int main(int argc, char** argv) {
    if (argc != 3) return std::fputs("usage: run_plug_in PLUG_IN CAPTURE.tdf\n", stderr), 2;
    ORM_LUX::uDll plugIn(argv[1], RTLD_NOW);
    if (!plugIn.Load(nullptr, -1)) return std::fprintf(stderr, "%s\n", plugIn.GetError()), 1;
    const auto index = reinterpret_cast<int (*)(const char*)>(plugIn.GetSymbolAddress("IndexStamps"));
    if (index == nullptr) return std::fprintf(stderr, "%s\n", plugIn.GetError()), 1;
    const int count = index(argv[2]);
    if (count < 0) return std::fputs("failed: the log says why, when ORM_TRACE_LOGGING is 1 or more\n", stderr), 1;
    std::printf("%d time stamps\n", count);
}
