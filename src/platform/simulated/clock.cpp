#include "platform/simulated/clock.h"

#include "platform/simulated/machine.h"

#include <cstdio>
#include <ctime>

namespace kovra::simulated {

SYSTEMTIME Clock::localTime() const {
    constexpr std::time_t start = 1'794'917'128; // 11/17/2026, 12:05:28
    const std::time_t now = start + static_cast<std::time_t>(scheduler_.now() / 1000);
    const std::tm time = *std::gmtime(&now);
    const auto word = [](auto number) { return static_cast<WORD>(number); };
    return {word(time.tm_year + 1900), word(time.tm_mon + 1),        word(time.tm_wday),
            word(time.tm_mday),        word(time.tm_hour),           word(time.tm_min),
            word(time.tm_sec),         word(scheduler_.now() % 1000)};
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
