// The error class of the Corva library: the one type in which the driver and the TDF operations report failures.
// This is the project's own stand-in; it lives in a shared library of its own, so that host, driver and other plug-ins
// share one run-time type and catch each other's errors by type.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>

#define CORVA_EXPORT __attribute__((visibility("default")))

namespace Orm {
namespace Lux {
namespace Corva {

// What every error of the Corva library has: a text (what()) and a severity.
class CORVA_EXPORT cCorvaErrorIF : public std::exception {
public:
    enum Severity_Type : int { Severity_Information = 0, Severity_Warning = 1, Severity_Error = 2 };

    virtual Severity_Type GetSeverity() const noexcept = 0;
};

// An error with a text and a severity. Copies share the text, so copying never throws.
class CORVA_EXPORT cCorvaError : public cCorvaErrorIF {
public:
    cCorvaError(std::string message, Severity_Type severity);
    // A null text counts as an empty one.
    cCorvaError(const char* text, Severity_Type severity);
    // source names the component that refuses; what() returns only text.
    cCorvaError(const char* source, const char* text, Severity_Type severity);
    cCorvaError(const cCorvaError& other);
    ~cCorvaError() override;

    // Returns: the message text. Valid until the last copy of this error is destroyed.
    const char* what() const noexcept override;

    Severity_Type GetSeverity() const noexcept override;

private:
    std::runtime_error m_text;  // a reference-counted text
    Severity_Type m_severity;
};

}  // namespace Corva
}  // namespace Lux
}  // namespace Orm

// Only this stand-in has it, so that a program can find out which library it uses.
extern "C" CORVA_EXPORT const char OrmCorvaStandIn;
