// What captures may hold, up to the last value and beyond it.
#include "analysis/Comparison.h"
#include "analysis/ExactTime.h"
#include "analysis/Word.h"
#include "capture/AppendTarget.h"
#include "capture/ChainScan.h"
#include "capture/Origin.h"
#include "capture/SampleFile.h"
#include "capture/SectionPairs.h"
#include "capture/SectionWalk.h"
#include "support/Files.h"
#include "tdf/TDFFormat.h"

namespace {

using namespace orm_trace;
using Orm::Lux::Trace::kMaxPosition;
using Orm::Lux::Trace::TDFFaultKind;
using test::ErrorOf;
using test::Section;

struct CaptureLimits : testing::Test {
    test::TemporaryFolder m_folder;
};

TEST_F(CaptureLimits, Times) {
    EXPECT_EQ(kTicksPerSecond, 170000000U);
    const std::string stamps = "\x88\x90\x98\xA0\xB0\xC0\xC8\xD8\xE0\xE8";
    for (std::uint64_t type = 0; type < kTypes; ++type) {
        EXPECT_EQ(IsStamp(type << 56), stamps.find(static_cast<char>(type)) != stamps.npos) << type;
    }
    EXPECT_EQ(TimeText({-1}), "1969-12-31T23:59:59.999999");
    EXPECT_EQ(TimeText({0}), "1970-01-01T00:00:00.000000");
}

TEST_F(CaptureLimits, Faults) {
    // clang-format off
    const std::pair<TDFFaultKind, std::string> rows[] = {
        {TDFFaultKind::kNone, "none"}, {TDFFaultKind::kReadError, "read_error"},
        {TDFFaultKind::kHeaderCut, "header_cut"}, {TDFFaultKind::kDataCut, "data_cut"},
        {TDFFaultKind::kLengthTooLong, "length_too_long"}, {TDFFaultKind::kLengthTooShort, "length_too_short"},
        {TDFFaultKind::kNameTooLong, "name_too_long"}, {TDFFaultKind::kBeyondFormat, "beyond_format"}};
    // clang-format on
    for (const auto& [kind, name] : rows) EXPECT_EQ((LocatedFault{{kind}, 0, {}}.KindName()), name);
    EXPECT_EQ(LocatedFault{}.Message(), "section 0 at offset 0x0: no fault");
    for (const std::size_t size : {4095U, 4096U}) {
        const InputFile file(m_folder.Write("t", "TDF2" + Section(std::string(size, 'n'), 1, "", 5)));
        SectionWalk walk(file);
        EXPECT_FALSE(walk.Next());
        EXPECT_EQ(walk.Fault()->name.value_or("").size(), size == 4095 ? size : 0U);
    }
}

TEST_F(CaptureLimits, Origins) {
    constexpr std::uint64_t kLastSample = INT64_MAX / 8;
    for (const std::size_t size : {255U, 256U}) {
        const std::string data = Origin{std::string(size, 'f'), kLastSample, 1, "1"}.Data();
        const InputFile file(m_folder.Write("t", "TDF2" + Section(Origin::kSection, Origin::kVersion, data)));
        const auto find = [&] { EXPECT_EQ(Origin::Find(file)->first, kLastSample); };
        EXPECT_EQ(ErrorOf<Error>(find).empty(), size == 255) << size;
    }
}

TEST_F(CaptureLimits, Chains) {
    const std::string last = Section("last", 1, "");
    for (const std::uint64_t size : {kMaxPosition, kMaxPosition + 1}) {
        const std::string path = m_folder.Write("t", "TDF2");
        std::filesystem::resize_file(path, size - last.size());
        std::ofstream(path, std::ios::app) << last;
        const auto chain = FindChainToEnd(InputFile(path), size - 1000, 0);
        EXPECT_EQ(chain, size == kMaxPosition ? std::optional(size - last.size()) : std::nullopt);
    }
    // The data of a section has no headers whose name is not one that people give.
    for (const std::size_t size : {1U, 255U, 256U, 4000U}) {
        const InputFile file(m_folder.Write("t", "TDF2" + Section(std::string(size, 'n'), 1, "")));
        EXPECT_EQ(FindChainToEnd(file, 4, 4), 4U) << size;
        EXPECT_EQ(FindChainToEnd(file, 4, file.Size()), size <= 255 ? std::optional(4U) : std::nullopt) << size;
    }
}

TEST_F(CaptureLimits, Sources) {
    EXPECT_EQ(ErrorOf<Error>([&] { AppendTarget(m_folder.Write("p.tdf", "TDF3"), {}); }), "is not a TDF file");
    const std::string path = m_folder.Write("t.tdf", "TDF2");
    for (const std::size_t has : {3U, 2U}) {
        SectionSource source("a", 1, "memory", 3, [left = has](char*, std::size_t size) mutable {
            return std::exchange(left, left - std::min(left, size)) - left;
        });
        source.Open();
        AppendTarget target(path, {});
        EXPECT_EQ(target.Appended(), 0U);
        EXPECT_EQ(ErrorOf<Error>([&] { target.Append(source); }),
                  has == 3 ? "" : "became shorter while it was being read");
        EXPECT_GT(target.Appended(), 12U);
    }
    EXPECT_EQ(test::ReadAll(path), "TDF2") << "none was kept";
    {
        const AppendTarget target(path, {});
        std::filesystem::resize_file(path, 2);
    }
    EXPECT_EQ(test::ReadAll(path), "TD") << "another one made it shorter";
    const auto lengthError = [](std::size_t name, std::uint64_t size) {
        return ErrorOf<Error>([&] { SectionSource(std::string(name, 'n'), 1, "memory", size, {}); });
    };
    EXPECT_EQ(lengthError(4095, 1), "");
    EXPECT_EQ(lengthError(4, (128 << 20) - 16), "");
    EXPECT_NE(lengthError(4, (128 << 20) - 15).find(" of 134217729 bytes, readers find"), std::string::npos);
    EXPECT_NE(ErrorOf<Error>([] { SectionSource("a", 1, "/dev/zero").Open(); }).find(" bytes or more, readers find"),
              std::string::npos);
    EXPECT_EQ(ErrorOf<Error>([] { SectionSource("a", 1, "/proc/self/mem").Open(); }), std::strerror(EIO));
    for (const std::size_t size : {33U, 36U, 40U}) {
        EXPECT_EQ(SampleFile(InputFile(m_folder.Write("n.bin", "TDF2" + std::string(size - 4, 'x')))).Count(), 5U)
            << size;
    }
    const InputFile file(m_folder.Write("n.tdf", "TDF2" + test::Trace("12345678") + Section("more", 1, "12345678")));
    std::uint64_t words[2];
    EXPECT_TRUE(SampleFile(file).Read(0, words) == 1 && SampleFile(file).Read(1, words) == 0) << "not what follows";
}

TEST_F(CaptureLimits, Comparisons) {
    const InputFile a(m_folder.Write("a", "12345")), b(m_folder.Write("b", "x1234"));
    for (const auto& [offsetA, offsetB, size, isSame] :
         {std::tuple(0U, 1U, 4U, true), {0U, 0U, 4U, false}, {0U, 1U, 0U, true}}) {
        std::uint64_t done = 0;
        EXPECT_EQ(HasSameBytes(a, offsetA, b, offsetB, size, [&](std::uint64_t bytes) { done += bytes; }), isSame);
        EXPECT_EQ(done, isSame ? 2 * size : 0U);
    }
    for (const std::size_t size : {65536U, 65537U, 200000U}) {
        const std::string bytes(size, 'd');
        const InputFile c(m_folder.Write("c", bytes + 'd')), d(m_folder.Write("d", bytes + 'e'));
        EXPECT_TRUE(HasSameBytes(c, 0, d, 0, size) && !HasSameBytes(c, 0, d, 0, size + 1)) << size;
    }
    const std::string shorter = "became shorter while it was being read";
    EXPECT_EQ(ErrorOf<Error>([&] { HasSameBytes(a, 1, b, 0, 5); }), shorter);
    EXPECT_EQ(ErrorOf<Error>([&] { HasSameBytes(a, 0, b, 1, 5); }), shorter);
    for (const std::uint64_t step : {1U, 2U, 256U}) {
        Comparison words({});
        const std::uint64_t one = 1000 + step, other = 1000;
        words.Add({&one, 1}, {&other, 1});
        words.Add({&other, 1}, {&one, 1});
        words.Add({&one, 1}, {&one, 1});
        EXPECT_TRUE(words.Compared() == 3 && words.Differing() == 2 && words.First().sample == 0) << step;
    }
    EXPECT_EQ(PathOfOpen(9999, "name"), "name") << "not open";
    // That a file cannot be locked is not the input's fault where it is to be replaced.
    try {
        TargetLock(m_folder / "gone", TargetLock::Purpose::kReplacing);
        ADD_FAILURE();
    } catch (const Error& error) {
        EXPECT_EQ(error.Kind(), ErrorKind::kFailed);
    }
}

}  // namespace
