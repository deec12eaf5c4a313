// A TDF file that sections of another one are copied to.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tdf/OpenFile.h"
#include "tools/orm-trace/InputFile.h"
#include "tools/orm-trace/Salvage.h"

namespace orm_trace {

// Errors: each operation throws Failure for what cannot be read, written or confirmed.
class SectionCopy {
public:
    // The file, which has the identifier, is that which path leads to; messages call it by its name.
    SectionCopy(const std::string& path, const std::string& name);

    // Copies a section byte for byte but for its length.
    void Add(const InputFile& from, const Salvage::Item& item);

    // Closes the file, and checks that lookups reach every section that was copied, and that nothing is behind them.
    void Verify();

private:
    void Check(bool succeeded) const;
    void Write(const void* bytes, std::size_t size);

    std::string m_path;
    std::string m_name;
    Orm::Lux::Trace::FilePtr m_stream;
    std::uint64_t m_size = Orm::Lux::Trace::kTDFIdentifier.size();
    std::uint64_t m_count = 0;
    std::vector<char> m_page = std::vector<char>(128 * 1024);
};

}  // namespace orm_trace
