// Copying sections of one TDF file to another.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "capture/ByteCopy.h"
#include "capture/InputFile.h"
#include "capture/Salvage.h"
#include "tdf/FileIO.h"

namespace orm_trace {

// Errors: each operation throws Error for what cannot be read, written or confirmed.
class SectionCopy {
public:
    // path leads to the file to write, which has the identifier at most; messages call it by the name.
    SectionCopy(const InputFile& from, std::string path, std::string name, ProgressCallback onProgress = {});

    // Copies a section, byte for byte except for its length.
    void Add(const Salvage::Item& item);

    // Writes a section of this name and version: its data is a range of the file that is copied from, or these bytes.
    void AddNew(std::string_view name, std::uint32_t version, std::uint64_t begin, std::uint64_t end);
    void AddNew(std::string_view name, std::uint32_t version, std::string_view data);

    // Returns: the sections that were added.
    std::uint64_t Count() const noexcept { return m_count; }

    // Closes the file, and checks that lookups reach every section that was copied, and that nothing follows them.
    void Verify();

private:
    void CopyRun();
    void WriteHeader(std::string_view name, std::uint32_t version, std::uint64_t size);

    const InputFile& m_from;
    std::string m_path;
    std::string m_name;
    Orm::Lux::Trace::FilePtr m_stream;
    ByteCopy m_bytes;
    std::uint64_t m_count = 0;
    // Sections that follow each other and stay as they are, which are copied together.
    std::uint64_t m_runBegin = 0;
    std::uint64_t m_runEnd = 0;
};

}  // namespace orm_trace
