#include "pp/net/http_date.h"

#include <cstdio>

#include "foundation/platform/clock.h"
#include "pp/exceptions.h"

namespace PP {

namespace {

const char* const dayNames[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
const char* const monthNames[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// Longest run of digits a field may have; more is malformed, not a big number.
constexpr size_t maxDigits = 5;

// Days from 1970-01-01 to the civil date (proleptic Gregorian).
int64_t daysFromCivil(int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = unsigned(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + int64_t(doe) - 719468;
}

void civilFromDays(int64_t z, int& y, unsigned& m, unsigned& d) {
    z += 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const unsigned doe = unsigned(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    y = int(int64_t(yoe) + era * 400 + (m <= 2));
}

class cursor {
public:
    explicit cursor(std::string_view t) : m_t(t) {}
    void blanks() {
        while (m_i < m_t.size() && m_t[m_i] == ' ') ++m_i;
    }
    bool number(int& v) {
        blanks();
        size_t start = m_i;
        v = 0;
        while (m_i < m_t.size() && m_t[m_i] >= '0' && m_t[m_i] <= '9' && m_i - start < maxDigits)
            v = v * 10 + (m_t[m_i++] - '0');
        return m_i > start && (m_i >= m_t.size() || m_t[m_i] < '0' || m_t[m_i] > '9');
    }
    bool word(std::string_view& w) {
        blanks();
        size_t start = m_i;
        while (m_i < m_t.size() && ((m_t[m_i] >= 'A' && m_t[m_i] <= 'Z') || (m_t[m_i] >= 'a' && m_t[m_i] <= 'z')))
            ++m_i;
        w = m_t.substr(start, m_i - start);
        return !w.empty();
    }
    bool literal(char c) {
        if (m_i < m_t.size() && m_t[m_i] == c) {
            ++m_i;
            return true;
        }
        return false;
    }

private:
    std::string_view m_t;
    size_t m_i = 0;
};

int monthIndex(std::string_view name) {
    if (name.size() != 3) return -1;
    for (int i = 0; i < 12; ++i) {
        bool same = true;
        for (int k = 0; k < 3; ++k) {
            char a = name[size_t(k)], b = monthNames[i][k];
            if ((a | 0x20) != (b | 0x20)) same = false;
        }
        if (same) return i;
    }
    return -1;
}

}  // namespace

bool parseHttpDate(std::string_view text, uint64_t& fileTime) {
    if (text.find('-') != std::string_view::npos) return false;
    size_t comma = text.find(',');
    if (comma == std::string_view::npos) return false;
    cursor c(text.substr(comma + 1));
    int day, year, hour, minute, second;
    std::string_view month;
    if (!c.number(day) || !c.word(month) || !c.number(year) || !c.number(hour) || !c.literal(':') ||
        !c.number(minute) || !c.literal(':') || !c.number(second))
        return false;
    int m = monthIndex(month);
    if (m < 0 || day < 1 || day > 31 || year < 1601 || year > 30827 || hour > 23 || minute > 59 || second > 60)
        return false;
    int64_t days = daysFromCivil(year, unsigned(m + 1), unsigned(day));
    int64_t seconds = days * 86400 + hour * 3600 + minute * 60 + second;
    fileTime = XUnixToFileTime(seconds, 0);
    return true;
}

std::string formatHttpDate(const std::tm& t) {
    if (t.tm_wday < 0 || t.tm_wday > 6 || t.tm_mon < 0 || t.tm_mon > 11) throwFixed<invalid_input>();
    char buf[64];
    std::snprintf(buf, sizeof buf, "%s, %02d %s %d %02d:%02d:%02d GMT", dayNames[t.tm_wday], t.tm_mday,
                  monthNames[t.tm_mon], t.tm_year + 1900, t.tm_hour, t.tm_min, t.tm_sec);
    return buf;
}

std::string formatHttpDate(uint64_t fileTime) {
    int64_t seconds = int64_t((fileTime - XFileTimeUnixEpoch) / 10000000ull);
    if (fileTime < XFileTimeUnixEpoch) seconds = -int64_t((XFileTimeUnixEpoch - fileTime + 9999999) / 10000000ull);
    int64_t days = seconds >= 0 ? seconds / 86400 : -((-seconds + 86399) / 86400);
    int64_t rest = seconds - days * 86400;
    std::tm t{};
    int y;
    unsigned m, d;
    civilFromDays(days, y, m, d);
    t.tm_year = y - 1900;
    t.tm_mon = int(m) - 1;
    t.tm_mday = int(d);
    t.tm_hour = int(rest / 3600);
    t.tm_min = int(rest / 60 % 60);
    t.tm_sec = int(rest % 60);
    t.tm_wday = int(((days % 7) + 11) % 7);  // 1970-01-01 was a Thursday
    return formatHttpDate(t);
}

}  // namespace PP
