#include "corva/cCorvaError.h"

namespace Orm::Lux::Corva {

// Hosts and plug-ins that throw or catch by value have this size compiled in.
static_assert(sizeof(cCorvaErrorIF) == 8 && sizeof(cCorvaError) == 32);

cCorvaError::cCorvaError(std::string message, Severity_Type severity) : m_text(message), m_severity(severity) {}

cCorvaError::cCorvaError(const char* text, Severity_Type severity)
    : m_text(text != nullptr ? text : ""), m_severity(severity) {}

cCorvaError::cCorvaError(const char*, const char* text, Severity_Type severity) : cCorvaError(text, severity) {}

cCorvaError::cCorvaError(const cCorvaError& other) = default;

cCorvaError::~cCorvaError() = default;

const char* cCorvaError::what() const noexcept { return m_text.what(); }

cCorvaErrorIF::Severity_Type cCorvaError::GetSeverity() const noexcept { return m_severity; }

}  // namespace Orm::Lux::Corva

const char OrmCorvaStandIn = 1;
