// Options that take types of words.
#pragma once

#include <CLI/CLI.hpp>
#include <array>
#include <string>
#include <vector>

#include "analysis/Word.h"
#include "capture/Error.h"
#include "tools/orm-trace/options/ParseNumber.h"

namespace orm_trace {

class TypeOption {
public:
    // Adds an option that may be given several times. name outlives this. Returns: the option.
    CLI::Option* AddTo(CLI::App& app, const char* name, const char* help) {
        m_name = name;
        return app.add_option(name, m_texts, help)
            ->option_text("T ...")
            ->expected(1)
            ->take_all()
            ->allow_extra_args(false);
    }

    bool IsGiven() const noexcept { return !m_texts.empty(); }

    // Returns: for each type, whether it was given. Errors: Error (kArgument).
    std::array<bool, kTypes> Types() const {
        std::array<bool, kTypes> types{};
        for (const std::string& text : m_texts) {
            const auto type = ParseNumber(text);
            if (!type || *type >= kTypes) {
                throw Error(ErrorKind::kArgument, m_name, "not a type from 0 to 0xFF: " + text);
            }
            types[static_cast<std::size_t>(*type)] = true;
        }
        return types;
    }

private:
    const char* m_name = "";
    std::vector<std::string> m_texts;
};

}  // namespace orm_trace
