#include "source_utilities/uTime.h"

#include "source_utilities/uTimeSnapshot.h"

namespace ORM_LUX {
namespace {

// The logic is only in uTimeSnapshot: the shared fields are copied to one and back.
uTimeSnapshot Load() {
    uTimeSnapshot shared(false);
    shared.m_status = uTime::m_status;
    shared.m_year = uTime::m_year;
    shared.m_month = uTime::m_month;
    shared.m_day = uTime::m_day;
    shared.m_hour = uTime::m_hour;
    shared.m_minute = uTime::m_minute;
    shared.m_second = uTime::m_second;
    shared.m_milli = uTime::m_milli;
    shared.m_yday = uTime::m_yday;
    shared.m_wday = uTime::m_wday;
    return shared;
}

void Store(const uTimeSnapshot& value) {
    uTime::m_status = value.m_status;
    uTime::m_year = value.m_year;
    uTime::m_month = value.m_month;
    uTime::m_day = value.m_day;
    uTime::m_hour = value.m_hour;
    uTime::m_minute = value.m_minute;
    uTime::m_second = value.m_second;
    uTime::m_milli = value.m_milli;
    uTime::m_yday = value.m_yday;
    uTime::m_wday = value.m_wday;
}

}  // namespace

int uTime::m_status = uTime::STATUS_INVALID;
int uTime::m_year = 0;
unsigned int uTime::m_month = 0;
unsigned int uTime::m_day = 0;
unsigned int uTime::m_hour = 0;
unsigned int uTime::m_minute = 0;
unsigned int uTime::m_second = 0;
unsigned int uTime::m_milli = 0;
int uTime::m_yday = 0;
int uTime::m_wday = 0;

uTime::uTime() = default;
uTime::uTime(const uTime&) = default;
uTime::~uTime() = default;
uTime& uTime::operator=(const uTime&) = default;

uTime& uTime::GetLocal() {
    uTimeSnapshot shared = Load();
    shared.GetLocal();
    Store(shared);
    return *this;
}

int uTime::GetYear() const { return m_year; }
unsigned int uTime::GetMonth() const { return m_month; }
unsigned int uTime::GetDay() const { return m_day; }
unsigned int uTime::GetHour() const { return m_hour; }
unsigned int uTime::GetMinute() const { return m_minute; }
unsigned int uTime::GetSecond() const { return m_second; }
unsigned int uTime::GetMilliSecond() const { return m_milli; }

int uTime::CalculateYDays() { return Load().CalculateYDays(); }

char* uTime::FormatTime(char* buf, int len, const char* fmt) const { return Load().FormatTime(buf, len, fmt); }

int uTime::FindSubString(const char* str, const char* needle, int start) {
    return uTimeSnapshot(false).FindSubString(str, needle, start);
}

int uTime::ReplaceString(char* buf, int len, const char* token, const char* replacement) {
    return uTimeSnapshot(false).ReplaceString(buf, len, token, replacement);
}

void uTime::ConvertTime(tm* out) { Load().ConvertTime(out); }

bool uTime::operator==(const uTime&) const { return true; }
bool uTime::operator!=(const uTime&) const { return false; }
bool uTime::operator<(const uTime&) const { return false; }
bool uTime::operator>(const uTime&) const { return false; }
bool uTime::operator<=(const uTime&) const { return true; }
bool uTime::operator>=(const uTime&) const { return true; }

}  // namespace ORM_LUX
