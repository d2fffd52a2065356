// Small text helpers shared by the standard dialect's parsers: trimming, case-insensitive
// comparison, bounded number reading and splitting of "a;b;c" and "k=v" lists. All work on
// string_views over the caller's bytes and never read outside them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace playersdk::standard {

std::string_view TrimBlanks(std::string_view s);
bool EqualsIgnoreCase(std::string_view a, std::string_view b);
bool StartsWithIgnoreCase(std::string_view s, std::string_view prefix);

// A run of decimal digits (no sign, no blanks) whose value is at most maxValue.
std::optional<uint64_t> ParseDecimal(std::string_view s, uint64_t maxValue);
// The value of one hexadecimal digit (either case), or -1.
int HexDigitValue(char c);
// A run of hexadecimal digits, either case, of at most 8 digits.
std::optional<uint32_t> ParseHex32(std::string_view s);
// A non-negative decimal number with an optional fraction ("12", "0.000", "7.25").
std::optional<double> ParseSeconds(std::string_view s);

// Cuts the next piece off `rest` at the first `sep` (or takes all of it).
std::string_view NextPiece(std::string_view& rest, char sep);

// "key=value" split at the first '='; value is empty when there is none.
struct KeyValue {
    std::string_view key;
    std::string_view value;
};
KeyValue SplitKeyValue(std::string_view item);

// "a-b" as two numbers up to maxValue; b is optional ("5000" alone is one port).
struct NumberPair {
    uint32_t first = 0;
    std::optional<uint32_t> second;
};
std::optional<NumberPair> ParseNumberPair(std::string_view s, uint32_t maxValue);

}  // namespace playersdk::standard
