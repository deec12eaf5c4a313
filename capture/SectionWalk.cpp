#include "capture/SectionWalk.h"

#include <algorithm>
#include <array>

#include "tools/orm-trace/output/Text.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

namespace {

// Returns: the name of the section at this position, when its header is there and the name no longer than names are.
std::optional<std::string> NameAt(const InputFile& file, std::uint64_t offset) {
    std::array<unsigned char, kFixedHeaderSize> fields;
    if (file.ReadAt(offset, fields.data(), fields.size()) < fields.size()) return std::nullopt;
    const std::uint32_t length = LoadLittleEndian(fields.data() + 2 * kFieldSize);
    if (length > kMaxNameLength) return std::nullopt;
    std::string name(length, '\0');
    if (file.ReadAt(offset + kFixedHeaderSize, name.data(), length) < length) return std::nullopt;
    return name;
}

}  // namespace

const char* Fault::Kind() const noexcept {
    switch (damage.fault) {
        case TDFFaultKind::kNone: break;
        case TDFFaultKind::kReadError: return "read_error";
        case TDFFaultKind::kHeaderCut: return "header_cut";
        case TDFFaultKind::kDataCut: return "data_cut";
        case TDFFaultKind::kLengthTooLong: return "length_too_long";
        case TDFFaultKind::kLengthTooShort: return "length_too_short";
        case TDFFaultKind::kNameTooLong: return "name_too_long";
        case TDFFaultKind::kBeyondFormat: return "beyond_format";
    }
    return "none";
}

std::string Fault::Message() const {
    const std::string claimed = std::to_string(damage.claimed);
    const std::string available = std::to_string(damage.available);
    std::string text = "section " + std::to_string(section);
    if (name) text += " \"" + Escaped(*name) + '"';
    text += " at offset " + Position(damage.offset) + ": ";
    switch (damage.fault) {
        case TDFFaultKind::kNone: return text + "no damage";
        case TDFFaultKind::kReadError: return text + "cannot be read";
        case TDFFaultKind::kHeaderCut:
            return text + "header of " + claimed + " bytes exceeds the " + available + " bytes left";
        case TDFFaultKind::kDataCut: return text + "length " + claimed + " exceeds the " + available + " bytes left";
        case TDFFaultKind::kLengthTooLong: return text + "length " + claimed + " exceeds the limit of " + available;
        case TDFFaultKind::kLengthTooShort:
            return text + "length " + claimed + " is below the " + available + " bytes of the header";
        case TDFFaultKind::kNameTooLong: return text + "name length " + claimed + " exceeds the limit of " + available;
        case TDFFaultKind::kBeyondFormat:
            return text + "length " + claimed + " exceeds the " + available + " bytes left in 4 GiB";
    }
    return text;
}

SectionWalk::SectionWalk(const InputFile& file, std::uint64_t start)
    : m_file(file), m_reader(file.Stream(), start), m_end(start) {
    std::clearerr(file.Stream());
    fseeko(file.Stream(), static_cast<off_t>(start), SEEK_SET);
}

bool SectionWalk::Next() {
    switch (m_reader.Next()) {
        case TDFSectionReader::Step::kSection:
            ++m_count;
            m_end = Section().End();
            if (m_end > m_file.Size()) m_file.Measure();
            return true;
        case TDFSectionReader::Step::kEnd:
            if (m_end < m_file.Size()) m_file.Measure();  // the reader has found a smaller size
            return false;
        case TDFSectionReader::Step::kDamage: break;
    }
    m_file.Measure();
    TDFFault damage = m_reader.Damage();
    if (damage.fault == TDFFaultKind::kDataCut) damage.available = m_file.Size() - std::min(m_file.Size(), damage.offset);
    const bool canRead = damage.fault != TDFFaultKind::kReadError;
    m_damage = Fault{damage, damage.fault == TDFFaultKind::kDataCut ? Number() : m_count,
                     canRead ? NameAt(m_file, damage.offset) : std::nullopt};
    return false;
}

std::uint64_t SectionWalk::DataThere() const noexcept {
    const std::uint64_t left = m_file.Size() - std::min<std::uint64_t>(m_file.Size(), Section().DataPosition());
    return std::min<std::uint64_t>(left, Section().DataLength());
}

std::uint64_t SectionWalk::BytesBehind() const noexcept {
    if (!m_damage || m_damage->damage.fault == TDFFaultKind::kDataCut) return 0;
    return m_file.Size() - std::min(m_file.Size(), m_damage->damage.offset);
}

}  // namespace orm_trace
