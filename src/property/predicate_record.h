#pragma once

#include <cstdint>

namespace vortan {

class QuantumProperty;

/// What a predicate handle points to: a condition on one property's dit. The
/// property is named by a plain pointer, without a share: the host keeps it
/// alive. No qudit index is stored, as indices change when groups merge.
struct vortan_predicate_record {
    QuantumProperty* property;
    std::int32_t value;  // not compared with the dimension, here or later
    bool is_equal;       // true: holds where the dit equals value; false: where it differs
};

}  // namespace vortan
