// The record and callback promises, checked the same way for every export.

#include "checks.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>

namespace vortan::fuzz {
namespace {

int error_fd = 2;
CallbackModel model;

/// What each of the two callbacks saw during the current call.
struct Heard {
    int calls = 0;
    const vortan_error_info* info = nullptr;
    void* user_data = nullptr;
    vortan_error_info copy{};
};
Heard heard[2];

template <int Which>
void on_error(const vortan_error_info* info, void* user_data) {
    Heard& h = heard[Which];
    ++h.calls;
    h.info = info;
    h.user_data = user_data;
    if (info != nullptr) std::memcpy(&h.copy, info, sizeof h.copy);
}

constexpr vortan_error_callback callbacks[2] = {on_error<0>, on_error<1>};

bool terminated_and_padded(const char (&message)[256]) {
    const void* end = std::memchr(message, 0, sizeof message);
    if (end == nullptr) return false;
    // Cut at 255 characters and zero after the text, as strncpy leaves it.
    for (std::size_t i = static_cast<const char*>(end) - message; i < sizeof message; ++i)
        if (message[i] != 0) return false;
    return true;
}

bool reserved_untouched(const vortan_error_info& record) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(&record);
    for (std::size_t i = offsetof(vortan_error_info, reserved0); i < offsetof(vortan_error_info, function); ++i)
        if (bytes[i] != CANARY) return false;
    for (std::size_t i = offsetof(vortan_error_info, reserved1); i < sizeof(vortan_error_info); ++i)
        if (bytes[i] != CANARY) return false;
    return true;
}

/// How often each export returned each code, printed at exit when the
/// environment sets VORTAN_FUZZ_STATS: which refusals and limits a corpus
/// reaches.
std::map<std::pair<std::string, vortan_result>, std::uint64_t>* tally = nullptr;

void print_tally() {
    for (const auto& [key, n] : *tally) dprintf(error_fd, "%-48s %4d %12llu\n", key.first.c_str(), key.second,
                                                static_cast<unsigned long long>(n));
}

}  // namespace

void keep_error_stream() {
    const int fd = dup(2);
    if (fd >= 0) error_fd = fd;
    if (std::getenv("VORTAN_FUZZ_STATS") != nullptr) {
        tally = new std::map<std::pair<std::string, vortan_result>, std::uint64_t>();
        std::atexit(print_tally);
    }
}

void broken(const char* function, const char* format, ...) {
    char text[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    dprintf(error_fd, "\n==vortan_fuzz== broken promise in %s: %s\n", function, text);
    std::abort();
}

void set_callback(int which, void* user_data) {
    vortan_set_error_callback(which < 0 ? nullptr : callbacks[which], user_data);
    model.installed = which;
    model.user_data = user_data;
}

void forget_callback() { model = CallbackModel{}; }

Call::Call(const char* function, bool takes_record, bool pass_record)
    : function_(function), pass_(takes_record && pass_record) {
    std::memset(static_cast<void*>(&record_), CANARY, sizeof record_);
    heard[0] = Heard{};
    heard[1] = Heard{};
}

vortan_result Call::check(vortan_result code, std::initializer_list<vortan_result> documented) {
    if (tally != nullptr) ++(*tally)[{function_, code}];
    bool listed = false;
    for (const vortan_result c : documented) listed = listed || c == code;
    if (!listed) broken(function_, "returned %d, a code it does not document (message \"%.255s\")", code,
                        pass_ && record_.code == code ? record_.message : "");

    const bool reported = code != VORTAN_SUCCESS && pass_;
    const int expected_calls = reported && model.installed >= 0 ? 1 : 0;
    for (int which = 0; which < 2; ++which) {
        const int expected = which == model.installed ? expected_calls : 0;
        if (heard[which].calls != expected)
            broken(function_, "callback %d heard %d times after code %d (record %s, callback %d installed)", which,
                   heard[which].calls, code, pass_ ? "given" : "NULL", model.installed);
    }
    if (!reported) {
        if (pass_) {
            vortan_error_info pristine;
            std::memset(static_cast<void*>(&pristine), CANARY, sizeof pristine);
            if (std::memcmp(&pristine, &record_, sizeof record_) != 0)
                broken(function_, "code %d touched the error record", code);
        }
        return code;
    }

    if (record_.code != code) broken(function_, "returned %d but recorded %d", code, record_.code);
    if (!terminated_and_padded(record_.message))
        broken(function_, "left the message unterminated or not zero-filled after its text");
    if (record_.function == nullptr || std::strcmp(record_.function, function_) != 0)
        broken(function_, "recorded the failure as from %s", record_.function ? record_.function : "(NULL)");
    if (record_.line == 0) broken(function_, "recorded line 0");
    if (!reserved_untouched(record_)) broken(function_, "wrote the reserved fields of the record");
    if (model.installed >= 0) {
        const Heard& h = heard[model.installed];
        if (h.info != &record_) broken(function_, "called back with another record than the caller's");
        if (h.user_data != model.user_data) broken(function_, "called back with other user data");
        if (std::memcmp(&h.copy, &record_, sizeof record_) != 0)
            broken(function_, "called back before the record was complete, or changed it after");
    }
    return code;
}

}  // namespace vortan::fuzz
