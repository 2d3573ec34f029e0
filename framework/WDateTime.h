// Instants and display offsets. Everything is 64-bit and UTC inside, on 32-bit machines too, so that 2038 is an
// ordinary year. Strings have fixed formats of ISO 8601, without fractions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#pragma GCC visibility push(default)
namespace W {

/// A time of day or a length of time below a day. A default-constructed one is not valid.
class WTime {
public:
    constexpr WTime() = default;
    /// @param hour 0 to 23, @param minute 0 to 59, @param second 0 to 59; anything else gives an invalid time
    constexpr WTime(int hour, int minute, int second = 0)
        : m_valid(hour >= 0 && hour < 24 && minute >= 0 && minute < 60 && second >= 0 && second < 60),
          m_seconds(m_valid ? hour * 3600 + minute * 60 + second : 0)
    {}

    constexpr bool isValid() const { return m_valid; }
    constexpr int getHour() const { return m_seconds / 3600; }
    constexpr int getMinute() const { return m_seconds / 60 % 60; }
    constexpr int getSecond() const { return m_seconds % 60; }
    constexpr int toSeconds() const { return m_seconds; }

private:
    bool m_valid = false;
    std::int32_t m_seconds = 0;
};

/// An instant in UTC (years 0000 to 9999) and an offset for display. Either may be missing: a default-constructed
/// value holds neither and is not valid. Changing the offset never moves the instant.
class WDateTime {
public:
    enum DATEFORMAT {
        FORMAT_DATETIME = 2,  ///< `2026-11-21T01:30:00Z`
        FORMAT_LOCAL = 3,     ///< `2026-11-21T10:30:00`
        FORMAT_OFFSET = 4,    ///< `+09:00`, `-05:30`
    };
    enum TIMEZONE {
        TIMEZONE_NONE = -1,  ///< for FORMAT_OFFSET
        TIMEZONE_LOCAL = 0,  ///< for FORMAT_LOCAL
        TIMEZONE_UTC = 1,    ///< for FORMAT_DATETIME
    };

    WDateTime() = default;

    /// @param seconds since 1970-01-01T00:00:00Z; one outside years 0000 to 9999 gives an invalid value
    static WDateTime fromTime_t(std::int64_t seconds);

    /// Reads one of the three formats; the zone must be the one that belongs to the format. Anything else, including a
    /// date that does not exist, gives an invalid value. Never throws.
    /// - FORMAT_DATETIME: that instant, offset +00:00.
    /// - FORMAT_LOCAL: a local time whose zone is not known: the instant at which a UTC clock shows it, without an
    ///   offset.
    /// - FORMAT_OFFSET: a valid offset and no instant.
    static WDateTime fromString(std::string_view text, DATEFORMAT format, TIMEZONE zone);

    /// True if it holds an instant, an offset, or both.
    bool isValid() const { return m_hasInstant || m_hasOffset; }
    /// True if it holds an instant, with or without an offset.
    bool hasInstant() const { return m_hasInstant; }

    /// Seconds since 1970-01-01T00:00:00Z; 0 without an instant.
    std::int64_t toTime_t() const { return m_seconds; }

    /// 1, or -1 for offsets west of Greenwich.
    int getOffsetSign() const { return m_offset < 0 ? -1 : 1; }
    /// Amount of the offset; not valid if there is none.
    WTime getOffsetTime() const;
    /// Seconds east of Greenwich; 0 without an offset.
    int offsetSeconds() const { return m_offset; }

    /// Attaches an offset, or removes it if `time` is not valid; the instant stays.
    /// @param sign negative for west of Greenwich, else east
    void setOffset(int sign, const WTime& time);
    void setOffsetSign(int sign) { setOffset(sign, getOffsetTime()); }
    void setOffsetTime(const WTime& time) { setOffset(getOffsetSign(), time); }

    /// Sets the offset to +00:00; the instant stays.
    void toUTC() { setOffset(1, WTime(0, 0)); }

    /// The instant as `2026-11-21T01:30:00Z`; empty without one.
    std::string toString() const;

private:
    std::int64_t m_seconds = 0;
    std::int32_t m_offset = 0;  ///< seconds east of Greenwich
    bool m_hasInstant = false;
    bool m_hasOffset = false;
};

}  // namespace W
#pragma GCC visibility pop
