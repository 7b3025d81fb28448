#pragma once
// The promises of vortan.h, checked after every call the fuzzer makes. A
// broken promise is reported on the fuzzer's own error stream and ends the
// run through abort(), which libFuzzer records as a crash with its input.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "vortan.h"

namespace vortan::fuzz {

/// Keeps a descriptor of the error stream from before libFuzzer may close it
/// (-close_fd_mask=2 silences the library's warnings, not our reports).
void keep_error_stream();

[[noreturn]] void broken(const char* function, const char* format, ...) __attribute__((format(printf, 2, 3)));

/// The byte pattern of everything the library must leave alone.
constexpr unsigned char CANARY = 0xA5;

/// Which of the two callbacks is installed, and with which user data.
struct CallbackModel {
    int installed = -1;  // -1 none, else 0 or 1
    void* user_data = nullptr;
};

/// Installs callback `which` (-1 clears) through vortan_set_error_callback
/// and remembers it.
void set_callback(int which, void* user_data);
/// vortan_cleanup clears the callback: the model follows.
void forget_callback();

/// One call of an export: the error record it gets (or NULL), primed with
/// the canary, and the callbacks' counters reset.
class Call {
public:
    /// `takes_record` false for the exports without a record; `pass_record`
    /// false passes NULL.
    Call(const char* function, bool takes_record, bool pass_record);

    vortan_error_info* record() { return pass_ ? &record_ : nullptr; }
    const char* function() const { return function_; }

    /// Checks the code against the documented list, and the record and the
    /// callbacks against the code. Returns `code`.
    vortan_result check(vortan_result code, std::initializer_list<vortan_result> documented);

    /// The message of the failure just checked ("" if none was recorded).
    const char* message() const { return pass_ ? record_.message : ""; }

private:
    const char* function_;
    bool pass_;
    vortan_error_info record_;
};

/// A host buffer of `declared` elements, followed by guard elements: all of
/// it starts as the canary, and the guard must stay so.
template <class T>
class Guarded {
public:
    static constexpr std::size_t GUARD = 4;

    explicit Guarded(std::size_t declared) : declared_(declared), storage_(declared + GUARD) {
        std::memset(static_cast<void*>(storage_.data()), CANARY, storage_.size() * sizeof(T));
    }
    T* data() { return storage_.data(); }
    T& operator[](std::size_t i) { return storage_[i]; }
    std::size_t declared() const { return declared_; }

    /// True if elements [from, to) still hold the canary.
    bool untouched(std::size_t from, std::size_t to) const {
        const auto* bytes = reinterpret_cast<const unsigned char*>(storage_.data());
        for (std::size_t i = from * sizeof(T); i < to * sizeof(T); ++i)
            if (bytes[i] != CANARY) return false;
        return true;
    }
    void check_guard(const char* function) const {
        if (!untouched(declared_, declared_ + GUARD))
            broken(function, "wrote past the %zu elements of a buffer", declared_);
    }

private:
    std::size_t declared_;
    std::vector<T> storage_;
};

/// Both float lists describe a state of squared norm 1 within the rounding
/// the library promises: float results of double sums, and measurements that
/// renormalise by a norm summed in float entry after entry, which over n
/// entries may be off by n float roundings (a full 9-qutrit register reads
/// 1.0003). That error outlives later merges and removals, so the bound is
/// taken at the largest state.
constexpr double NORM_TOLERANCE = 1e-4 + 2.0 * 100000 * 0x1p-24;

}  // namespace vortan::fuzz
