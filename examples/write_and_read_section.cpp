// A plug-in author's program: makes a TDF file, writes a section into it, and reads the section back.
//
//   write_and_read_section FILE.tdf
#include <cstdio>
#include <string>
#include <vector>

#include "corva/cCorvaError.h"
#include "tdf/TDFHandler.h"

int main(int argc, char** argv) {
    if (argc != 2) return std::fputs("usage: write_and_read_section FILE.tdf\n", stderr), 2;
    const char* path = argv[1];
    Orm::Lux::Trace::TDFHandler tdf;
    try {
        // Create the file once; then, for each section, append its header, and data to that as often as needed.
        tdf.CreateTDFFile(path);
        unsigned int section = 0;
        unsigned int length = 0;
        tdf.SaveSectionHeader(path, "Notes", 1, section);
        for (std::string line : {"captured on the bench\n", "probe 2 was loose\n"}) {
            tdf.SaveSectionData(path, "Notes", section, line.data(), 1, static_cast<unsigned int>(line.size()), length);
        }

        // A section is found by its name and version.
        tdf.GetSectionDataLengthInBytes(path, "Notes", 1, length);
        std::vector<char> notes(length + 1);
        unsigned int read = 0;
        tdf.LoadSectionData(path, "Notes", 1, notes.data(), length, read);
        std::printf("%u bytes of notes:\n%s", read, notes.data());
    } catch (const Orm::Lux::Corva::cCorvaError& error) {
        return std::fprintf(stderr, "%s: %s\n", path, error.what()), 1;
    }
}
