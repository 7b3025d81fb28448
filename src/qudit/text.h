#pragma once
// Messages are literal pieces joined with plain decimal numbers.

#include <string>
#include <string_view>
#include <type_traits>

namespace vortan::qudit {

namespace detail {
inline void append(std::string& out, std::string_view piece) { out += piece; }
inline void append(std::string& out, const char* piece) { out += piece; }
template <class Int>
    requires std::is_integral_v<Int>
void append(std::string& out, Int number) {
    out += std::to_string(number);
}
}  // namespace detail

/// str_cat("index ", -1, " of ", 12u) == "index -1 of 12".
template <class... Pieces>
std::string str_cat(const Pieces&... pieces) {
    std::string out;
    (detail::append(out, pieces), ...);
    return out;
}

}  // namespace vortan::qudit
