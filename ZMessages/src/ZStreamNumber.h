#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

#include "ZMessages/ZCommStream.h"
#include "ZShared/ZLog.h"

// A number as a stream holds it, with the conversions every stream kind applies when reading, so
// that JSON and binary streams accept and refuse the same values: integer targets take integral
// values within their range (3.0 reads as 3), double targets take any number, float targets any
// number within their range.
class ZStreamNumber {
public:
    enum ZConversion { CONVERSION_OK, CONVERSION_OUT_OF_RANGE, CONVERSION_NOT_INTEGER };

    static ZStreamNumber Signed(std::int64_t value) { return ZStreamNumber(NUMBER_SIGNED, value, 0, 0.0); }
    static ZStreamNumber Unsigned(std::uint64_t value) {
        return ZStreamNumber(NUMBER_UNSIGNED, 0, value, 0.0);
    }
    static ZStreamNumber Float(double value) { return ZStreamNumber(NUMBER_FLOAT, 0, 0, value); }

    template <class Int>
    ZConversion ToInteger(Int& out) const {
        using Limits = std::numeric_limits<Int>;
        switch (m_kind) {
            case NUMBER_SIGNED:
                if (m_signed < static_cast<std::int64_t>(Limits::min()) ||
                    (m_signed > 0 &&
                     static_cast<std::uint64_t>(m_signed) > static_cast<std::uint64_t>(Limits::max()))) {
                    return CONVERSION_OUT_OF_RANGE;
                }
                out = static_cast<Int>(m_signed);
                return CONVERSION_OK;
            case NUMBER_UNSIGNED:
                if (m_unsigned > static_cast<std::uint64_t>(Limits::max())) {
                    return CONVERSION_OUT_OF_RANGE;
                }
                out = static_cast<Int>(m_unsigned);
                return CONVERSION_OK;
            case NUMBER_FLOAT:
                break;
        }
        if (!std::isfinite(m_float) || std::trunc(m_float) != m_float) {
            return CONVERSION_NOT_INTEGER;
        }
        // Both bounds are exact as doubles: the lowest value is zero or a power of two, and so is
        // one above the highest. Comparing before converting keeps the conversion defined.
        const double lowest = static_cast<double>(Limits::min());
        const double aboveHighest = 2.0 * static_cast<double>(Limits::max() / 2 + 1);
        if (m_float < lowest || m_float >= aboveHighest) {
            return CONVERSION_OUT_OF_RANGE;
        }
        out = static_cast<Int>(m_float);
        return CONVERSION_OK;
    }

    double ToDouble() const {
        switch (m_kind) {
            case NUMBER_SIGNED:
                return static_cast<double>(m_signed);
            case NUMBER_UNSIGNED:
                return static_cast<double>(m_unsigned);
            case NUMBER_FLOAT:
                break;
        }
        return m_float;
    }

    // Rounded to the nearest float; magnitudes beyond the float range become infinities, stated
    // rather than left to a conversion the language leaves undefined.
    float ToFloat() const {
        const double value = ToDouble();
        // Half a unit in the last place above the largest float: the first value that rounds to infinity.
        constexpr double kFloatOverflow = 0x1.ffffffp127;
        if (value >= kFloatOverflow) {
            return std::numeric_limits<float>::infinity();
        }
        if (value <= -kFloatOverflow) {
            return -std::numeric_limits<float>::infinity();
        }
        return static_cast<float>(value);
    }

    // As ToFloat, but a finite value beyond the float range is out of range rather than an
    // infinity: a JSON text cannot carry the infinity back.
    ZConversion ToFloat(float& out) const {
        const float rounded = ToFloat();
        if (std::isinf(rounded) && std::isfinite(ToDouble())) {
            return CONVERSION_OUT_OF_RANGE;
        }
        out = rounded;
        return CONVERSION_OK;
    }

    // The value as a log line shows it.
    std::string Text() const {
        switch (m_kind) {
            case NUMBER_SIGNED:
                return std::to_string(m_signed);
            case NUMBER_UNSIGNED:
                return std::to_string(m_unsigned);
            case NUMBER_FLOAT:
                break;
        }
        char text[32];
        std::snprintf(text, sizeof text, "%.17g", m_float);
        return text;
    }

private:
    enum ZKind { NUMBER_SIGNED, NUMBER_UNSIGNED, NUMBER_FLOAT };

    ZStreamNumber(ZKind kind, std::int64_t signedValue, std::uint64_t unsignedValue, double floatValue)
        : m_kind(kind), m_signed(signedValue), m_unsigned(unsignedValue), m_float(floatValue) {}

    ZKind m_kind;
    std::int64_t m_signed;
    std::uint64_t m_unsigned;
    double m_float;
};

// Name of an integer target type for log lines.
template <class Int>
constexpr const char* ZStreamIntegerName();
template <>
constexpr const char* ZStreamIntegerName<std::int32_t>() {
    return "int32";
}
template <>
constexpr const char* ZStreamIntegerName<std::uint32_t>() {
    return "uint32";
}
template <>
constexpr const char* ZStreamIntegerName<std::int64_t>() {
    return "int64";
}

// Converts a stored number into an integer target. On failure the target is left as it was and
// one warning names the key and the problem.
template <class Int>
bool ZStreamReadInteger(const ZCommStream& stream, const char* key, const ZStreamNumber& number, Int& value) {
    Int converted{};
    switch (number.ToInteger(converted)) {
        case ZStreamNumber::CONVERSION_OK:
            value = converted;
            return true;
        case ZStreamNumber::CONVERSION_OUT_OF_RANGE:
            stream.NoteReadProblem();
            ZLOG_WITH(stream.m_logLevel, stream.m_logSource, LOGLEVEL_WARNING,
                      "Key <%s>: %s is out of %s range", key, number.Text().c_str(),
                      ZStreamIntegerName<Int>());
            return false;
        case ZStreamNumber::CONVERSION_NOT_INTEGER:
            stream.NoteReadProblem();
            ZLOG_WITH(stream.m_logLevel, stream.m_logSource, LOGLEVEL_WARNING,
                      "Key <%s>: %s is not an integer", key, number.Text().c_str());
            return false;
    }
    return false;
}

// Converts a stored number into a float target, on failure as ZStreamReadInteger does.
inline bool ZStreamReadFloat(const ZCommStream& stream, const char* key, const ZStreamNumber& number,
                             float& value) {
    float converted = 0;
    if (number.ToFloat(converted) != ZStreamNumber::CONVERSION_OK) {
        stream.NoteReadProblem();
        ZLOG_WITH(stream.m_logLevel, stream.m_logSource, LOGLEVEL_WARNING,
                  "Key <%s>: %s is out of float range", key, number.Text().c_str());
        return false;
    }
    value = converted;
    return true;
}
