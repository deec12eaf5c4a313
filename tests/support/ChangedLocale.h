// A locale of the C library that no package needs to bring.
#pragma once

#include <clocale>

#include "support/Files.h"

namespace test {

// For a scope, one category is that of "C", but with a text replaced.
class ChangedLocale {
public:
    ChangedLocale(int category, const std::string& name, std::string_view text, std::string_view by)
        : m_category(category) {
        std::string bytes = ReadAll("/usr/lib/locale/C.utf8/" + name);
        bytes.replace(bytes.find(text), text.size(), by);
        std::filesystem::create_directory(m_folder / "changed");
        m_folder.Write("changed/" + name, bytes);
        setenv("LOCPATH", m_folder.Path().c_str(), 1);
        EXPECT_NE(std::setlocale(category, "changed"), nullptr);
    }
    ~ChangedLocale() {
        std::setlocale(m_category, "C");
        unsetenv("LOCPATH");
    }

private:
    int m_category;
    TemporaryFolder m_folder;
};

}  // namespace test
