#pragma once
// What every exported function shares: reporting a failure, and the guarded
// region that turns exceptions into status codes by a clause list of its own.

#include <cstddef>
#include <cstdint>
#include <new>
#include <source_location>
#include <type_traits>

#include "vortan.h"

namespace vortan::api {

/// Copies `text` into a 256-byte message field: at most 255 characters, zero
/// bytes after them, and always terminated.
void copy_message(char (&field)[256], const char* text) noexcept;

/// Fills the record (code, message cut to 255 characters, function, line) and
/// then calls the host's callback. A null record means no report and no
/// callback. Allocates nothing. Returns `code`.
vortan_result report_error(vortan_error_info* info, vortan_result code, const char* text, const char* function,
                           std::uint32_t line) noexcept;

/// The exported function a report names, and the line of its guarded region.
struct Site {
    const char* function;
    std::uint32_t line;
};
#define VORTAN_SITE (::vortan::api::Site{__func__, static_cast<std::uint32_t>(__LINE__)})

/// Reports a failed argument check on behalf of `site`'s function. The line is
/// the check's own, so that each check a host meets is told apart.
inline vortan_result fail(vortan_error_info* info, vortan_result code, const char* text, Site site,
                          std::source_location check = std::source_location::current()) noexcept {
    return report_error(info, code, text, site.function, check.line());
}

/// A clause of a guarded region: catch E (and what derives from it) as `Code`,
/// reporting the exception's text.
template <class E, vortan_result Code>
struct Catch {
    using exception = E;
    static constexpr vortan_result code = Code;
    static const char* text(const E& e) noexcept { return e.what(); }
};

/// Exhausted memory is reported with a fixed text rather than what().
template <vortan_result Code>
struct Catch<std::bad_alloc, Code> {
    using exception = std::bad_alloc;
    static constexpr vortan_result code = Code;
    static const char* text(const std::bad_alloc&) noexcept { return "Memory allocation failed"; }
};

/// An ordered clause list; each exported function names its own.
template <class... Clauses>
struct ClauseList {};

namespace detail {

// Rethrows the exception being handled and tries the clauses in order, as the
// handlers of one try block would; a type no clause names propagates.
template <class Clause, class... Rest, class Note>
vortan_result dispatch(vortan_error_info* info, Site site, Note& note) {
    try {
        throw;
    } catch (const typename Clause::exception& e) {
        note(Clause::code, Clause::text(e));
        return fail(info, Clause::code, Clause::text(e), site);
    } catch (...) {
        if constexpr (sizeof...(Rest) == 0)
            throw;
        else
            return dispatch<Rest...>(info, site, note);
    }
}

struct NoNote {
    void operator()(vortan_result, const char*) const noexcept {}
};

template <class List>
struct Guard;

template <class... Clauses>
struct Guard<ClauseList<Clauses...>> {
    template <class Body, class Note>
    static vortan_result run(vortan_error_info* info, Site site, Body&& body, Note& note) {
        try {
            if constexpr (std::is_void_v<decltype(body())>) {
                body();
                return VORTAN_SUCCESS;
            } else {
                return body();
            }
        } catch (...) {
            // The report, callback included, happens while the exception is handled.
            return dispatch<Clauses...>(info, site, note);
        }
    }
};

}  // namespace detail

/// Runs `body` (returning void for success, or a vortan_result) and maps what
/// it throws through the clauses of `List`, reporting from `site`.
template <class List, class Body>
vortan_result guarded(vortan_error_info* info, Site site, Body&& body) {
    detail::NoNote none;
    return detail::Guard<List>::run(info, site, static_cast<Body&&>(body), none);
}

/// As above; `note(code, text)` hears of a failure just before it is reported,
/// for a caller that keeps a result record of its own.
template <class List, class Body, class Note>
vortan_result guarded(vortan_error_info* info, Site site, Body&& body, Note&& note) {
    return detail::Guard<List>::run(info, site, static_cast<Body&&>(body), note);
}

}  // namespace vortan::api
