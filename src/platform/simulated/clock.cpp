#include "platform/simulated/clock.h"

#include "platform/simulated/machine.h"

#include <chrono>
#include <cstdio>

namespace kovra::simulated {

SYSTEMTIME Clock::localTime() const {
    using namespace std::chrono;
    const auto start = sys_days{year{2026} / November / 17} + hours{12} + minutes{5} + seconds{28};
    const auto now = start + milliseconds{scheduler_.now()};
    const auto day = floor<days>(now);
    const year_month_day date{day};
    const hh_mm_ss time{now - day};
    return {static_cast<WORD>(static_cast<int>(date.year())),
            static_cast<WORD>(static_cast<unsigned>(date.month())),
            static_cast<WORD>(weekday{day}.c_encoding()),
            static_cast<WORD>(static_cast<unsigned>(date.day())),
            static_cast<WORD>(time.hours().count()),
            static_cast<WORD>(time.minutes().count()),
            static_cast<WORD>(time.seconds().count()),
            static_cast<WORD>(duration_cast<milliseconds>(time.subseconds()).count())};
}

namespace {

/// Gives a text as Windows does: its length with the terminator, 0 when the buffer is too small.
int give(std::string_view text, LPSTR buffer, int size) {
    const int needed = static_cast<int>(text.size()) + 1;
    if (size < needed)
        return 0;
    buffer[text.copy(buffer, text.size())] = '\0';
    return needed;
}

} // namespace

} // namespace kovra::simulated

using namespace kovra::simulated;

DWORD GetTickCount() {
    const Call<"GetTickCount"> call;
    return machine().clock.tickCount();
}

void GetLocalTime(SYSTEMTIME* time) {
    const Call<"GetLocalTime"> call;
    *time = machine().clock.localTime();
}

int GetDateFormatA(LCID locale, DWORD flags, const SYSTEMTIME* date, LPCSTR format, LPSTR text, int size) {
    const Call<"GetDateFormatA"> call;
    call.expect(locale == LOCALE_USER_DEFAULT && flags == (DATE_SHORTDATE | LOCALE_USE_CP_ACP) &&
                    format == nullptr,
                "locale, flags, format");
    char formatted[32];
    std::snprintf(formatted, sizeof formatted, "%u/%u/%u", date->wMonth, date->wDay, date->wYear);
    return give(formatted, text, size);
}

int GetTimeFormatA(LCID locale, DWORD flags, const SYSTEMTIME* time, LPCSTR format, LPSTR text, int size) {
    const Call<"GetTimeFormatA"> call;
    call.expect(locale == LOCALE_USER_DEFAULT && flags == LOCALE_USE_CP_ACP && format == nullptr,
                "locale, flags, format");
    char formatted[32];
    const unsigned hour = time->wHour % 12U == 0 ? 12U : time->wHour % 12U;
    std::snprintf(formatted, sizeof formatted, "%u:%02u:%02u %s", hour, time->wMinute, time->wSecond,
                  time->wHour < 12 ? "AM" : "PM");
    return give(formatted, text, size);
}
