#pragma once
// Failures inside the engine are exceptions that carry only their text; the
// status code is chosen at the boundary, by each exported function.

#include <stdexcept>

namespace vortan::qudit {

class BadDimension : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

class BadQuditNumber : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

class DifferentDimensions : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

class TargetControlOverlap : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

class StateSizeExceeded : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Also catchable as std::out_of_range, like every failure of the dit arrays.
class BadQuditIndex : public std::out_of_range {
    using std::out_of_range::out_of_range;
};

}  // namespace vortan::qudit
