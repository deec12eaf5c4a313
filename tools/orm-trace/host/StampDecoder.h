// Decoders of time stamp words, with their command lines.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "timestamp/Timestamp.h"
#include "tools/orm-trace/options/TimeOptions.h"

namespace orm_trace {

// A decoder, with its options.
class Decoder {
public:
    virtual ~Decoder() = default;
    // Called once, when the options are known. Errors: Error.
    virtual void Prepare() {}
    // index: of the sample, for a word of a trace. Returns: the stamp's text, "" for a word that is not a stamp.
    virtual std::string Decode(std::uint64_t word, std::optional<std::uint64_t> index) = 0;
    // Whether the index matters, which for a part of a capture is the one in the whole capture.
    virtual bool UsesOrigin() const noexcept { return false; }
};

// Words of a system trace module.
class StmDecoder : public Decoder {
public:
    explicit StmDecoder(CLI::App& app);
    std::string Decode(std::uint64_t word, std::optional<std::uint64_t> index) override;
    bool UsesOrigin() const noexcept override { return !m_index && !m_isWithoutOrigin; }

private:
    double m_frequency = 0;
    std::uint64_t m_base = 0;
    std::optional<std::uint64_t> m_index;
    bool m_isWithoutOrigin = false;
    Orm::Lux::Trace::uTimestampCD m_decoder;
};

// Status words of a trace receiver.
class RcvDecoder : public Decoder {
public:
    explicit RcvDecoder(CLI::App& app);
    void Prepare() override;
    std::string Decode(std::uint64_t word, std::optional<std::uint64_t> index) override;

private:
    TimeOptions m_time;
};

}  // namespace orm_trace
