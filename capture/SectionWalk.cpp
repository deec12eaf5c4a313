#include "capture/SectionWalk.h"

#include <algorithm>
#include <array>

#include "capture/Text.h"

namespace orm_trace {

using namespace Orm::Lux::Trace;

namespace {

// Returns: the name of the section at this offset, if the file has its header and the name is within the limit.
std::optional<std::string> NameAt(const InputFile& file, std::uint64_t offset) {
    std::array<unsigned char, kFixedHeaderSize> fields;
    if (file.ReadAt(offset, fields.data(), fields.size()) < fields.size()) return std::nullopt;
    const std::uint32_t length = DecodeFields(fields.data()).nameLength;
    if (length > kMaxNameLength) return std::nullopt;
    std::string name(length, '\0');
    if (file.ReadAt(offset + kFixedHeaderSize, name.data(), length) < length) return std::nullopt;
    return name;
}

}  // namespace

const char* LocatedFault::KindName() const noexcept {
    switch (kind) {
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

std::string LocatedFault::Message() const {
    const std::string left = " exceeds the " + std::to_string(available) + " bytes left";
    const std::string limit = " exceeds the limit of " + std::to_string(available);
    const std::string length = "length " + std::to_string(claimed);
    std::string text = "section " + std::to_string(index);
    if (name) text += ' ' + SectionLabel(*name);
    text += " at offset " + OffsetText(offset) + ": ";
    switch (kind) {
        case TDFFaultKind::kNone: return text + "no fault";
        case TDFFaultKind::kReadError: return text + "cannot be read";
        case TDFFaultKind::kHeaderCut: return text + "header of " + std::to_string(claimed) + " bytes" + left;
        case TDFFaultKind::kDataCut: return text + length + left;
        case TDFFaultKind::kLengthTooLong: return text + length + limit;
        case TDFFaultKind::kLengthTooShort:
            return text + length + " is below the " + std::to_string(available) + " bytes of the header";
        case TDFFaultKind::kNameTooLong: return text + "name " + length + limit;
        case TDFFaultKind::kBeyondFormat: return text + length + left + " in 4 GiB";
    }
    return text;
}

SectionWalk::SectionWalk(const InputFile& file, std::uint64_t start)
    : m_file(file), m_reader(file.Stream(), start), m_end(start) {}

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
        case TDFSectionReader::Step::kFault: break;
    }
    m_file.Measure();
    TDFFault fault = m_reader.Fault();
    const bool isCut = fault.kind == TDFFaultKind::kDataCut;
    if (isCut) fault.available = m_file.Size() - std::min(m_file.Size(), fault.offset);
    const bool canRead = fault.kind != TDFFaultKind::kReadError;
    m_fault = LocatedFault{fault, isCut ? Index() : m_count, canRead ? NameAt(m_file, fault.offset) : std::nullopt};
    return false;
}

std::uint64_t SectionWalk::DataAvailable() const noexcept {
    const std::uint64_t left = m_file.Size() - std::min<std::uint64_t>(m_file.Size(), Section().DataOffset());
    return std::min<std::uint64_t>(left, Section().DataLength());
}

std::uint64_t SectionWalk::TrailingBytes() const noexcept {
    if (!m_fault || m_fault->kind == TDFFaultKind::kDataCut) return 0;
    return m_file.Size() - std::min(m_file.Size(), m_fault->offset);
}

}  // namespace orm_trace
