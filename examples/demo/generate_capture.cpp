// Makes the input of the demo: one capture, written as a TDF file and as a plain file of samples.
//
// It shares no code with the library, so that a mistake in one is not repeated in the other. docs/tdf.5.md describes
// the format.
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace {

constexpr std::uint32_t kDefaultSamples = 4'000'000;
constexpr std::uint32_t kSampleSize = 8;
constexpr std::string_view kTraceName = "BinTraceData";
constexpr std::uint32_t kFixedHeader = 4 + 4 + 4;          // length, version, length of the name
constexpr std::uint32_t kMaxSection = 134'217'728;         // what readers follow, header included
constexpr std::uint32_t kTraceHeader = kFixedHeader + 12;  // with the name
constexpr std::uint32_t kMaxSamples = (kMaxSection - kTraceHeader) / kSampleSize;
static_assert(kTraceHeader == kFixedHeader + kTraceName.size());

// Sample n of the capture: a mixing function, so that no two samples look alike and a shifted one is noticed.
std::uint64_t Sample(std::uint64_t n) {
    std::uint64_t z = (n + 1) * 0x9E3779B97F4A7C15U;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
}

// The lowest width bytes of value, least significant byte first.
std::string LittleEndian(std::uint64_t value, int width) {
    std::string bytes;
    for (int i = 0; i < width; ++i) bytes += static_cast<char>(value >> (8 * i) & 0xFF);
    return bytes;
}

// A file to be written. A failure throws and names the file.
class OutputFile {
public:
    explicit OutputFile(std::string path) : m_path(std::move(path)), m_stream(std::fopen(m_path.c_str(), "wb")) {
        if (!m_stream) Fail();
    }

    void Write(std::string_view bytes) {
        if (std::fwrite(bytes.data(), 1, bytes.size(), m_stream.get()) != bytes.size()) Fail();
        m_position += bytes.size();
    }

    // The last bytes are written here, so a full disk may be reported only here.
    void Close() {
        if (std::fclose(m_stream.release()) != 0) Fail();
    }

    std::uint64_t Position() const { return m_position; }

private:
    [[noreturn]] void Fail() const { throw std::runtime_error(m_path + ": " + std::strerror(errno)); }

    struct Closer {
        void operator()(std::FILE* stream) const { std::fclose(stream); }
    };
    std::string m_path;
    std::unique_ptr<std::FILE, Closer> m_stream;
    std::uint64_t m_position = 0;
};

void WriteSectionHeader(OutputFile& file, std::string_view name, std::uint32_t version, std::uint32_t dataLength) {
    const auto nameLength = static_cast<std::uint32_t>(name.size());
    file.Write(LittleEndian(kFixedHeader + nameLength + dataLength, 4));
    file.Write(LittleEndian(version, 4));
    file.Write(LittleEndian(nameLength, 4));
    file.Write(name);
}

void WriteSection(OutputFile& file, std::string_view name, std::uint32_t version, std::string_view data) {
    WriteSectionHeader(file, name, version, static_cast<std::uint32_t>(data.size()));
    file.Write(data);
}

// Sections that a capture tool might store in addition to the samples, and some that must not be mistaken for them: a
// section of the same name in another version, and data that looks like the header of a section.
void WriteOtherSections(OutputFile& file) {
    WriteSection(file, "CaptureInfo", 1, "channel=0\nclock=170MHz\n");
    WriteSection(file, kTraceName, 2, std::string(1000, '\xEE'));
    std::string notes = LittleEndian(kTraceHeader, 4) + LittleEndian(1, 4) + LittleEndian(kTraceName.size(), 4);
    notes += kTraceName;
    const std::uint64_t samplesAt = file.Position() + kFixedHeader + 5 + notes.size() + kTraceHeader;
    if (samplesAt % 2 == 0) notes += '.';  // the samples are to begin at an odd offset
    WriteSection(file, "Notes", 1, notes);
}

void Generate(const char* tdfPath, const char* plainPath, std::uint32_t samples) {
    OutputFile tdf(tdfPath);
    OutputFile plain(plainPath);
    tdf.Write("TDF2");
    WriteOtherSections(tdf);
    WriteSectionHeader(tdf, kTraceName, 1, samples * kSampleSize);
    const std::uint64_t samplesAt = tdf.Position();

    constexpr std::uint32_t kBlock = 8192;
    std::string bytes;
    for (std::uint32_t first = 0; first < samples; first += kBlock) {
        bytes.clear();
        const std::uint32_t end = first + std::min(kBlock, samples - first);
        for (std::uint32_t n = first; n < end; ++n) {
            const std::uint64_t sample = Sample(n);
            for (int shift = 0; shift < 64; shift += 8) bytes += static_cast<char>(sample >> shift & 0xFF);
        }
        tdf.Write(bytes);
        plain.Write(bytes);
    }
    tdf.Close();
    plain.Close();
    std::printf("%s: %u samples at offset %llu, after 3 other sections\n", tdfPath, samples,
                static_cast<unsigned long long>(samplesAt));
    std::printf("%s: the same %u samples, nothing else\n", plainPath, samples);
}

// Returns: whether text is a number of samples that fits in one section.
bool ParseSamples(std::string_view text, std::uint32_t& samples) {
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), samples);
    return error == std::errc() && rest == text.data() + text.size() && samples <= kMaxSamples;
}

}  // namespace

int main(int argc, char** argv) {
    std::uint32_t samples = kDefaultSamples;
    if (argc < 3 || argc > 4 || (argc == 4 && !ParseSamples(argv[3], samples))) {
        std::fprintf(stderr, "usage: generate-capture OUT.tdf OUT.bin [SAMPLES]\nSAMPLES: 0 to %u, by default %u\n",
                     kMaxSamples, kDefaultSamples);
        return 2;
    }
    try {
        Generate(argv[1], argv[2], samples);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "generate-capture: %s\n", error.what());
        return 1;
    }
}
