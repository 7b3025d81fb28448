// A list of gates in one crossing of the boundary: every record is validated
// before anything runs, the operations then run in order without rollback, and
// any failure of the run comes out as one code with the count of those done.

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <source_location>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/gate_call.h"
#include "qudit/text.h"

namespace vortan::api {
namespace {

using qudit::str_cat;

/// The internal copy of one record, made before the run. Kind 11, a rotation
/// between two named basis states, is reachable only from inside.
struct BatchOperation {
    std::uint8_t kind;
    QuantumProperty* target;
    QuantumProperty* target2;
    double fraction;
    double angle;
    std::vector<vortan_predicate_record> predicates;
    std::vector<std::int32_t> dits_a;
    std::vector<std::int32_t> dits_b;
};

constexpr std::uint32_t ROTATE_BASIS_PAIR = 11;

const char* op_name(std::uint32_t opcode) {
    static const char* const names[] = {"VORTAN_OP_CYCLE",     "VORTAN_OP_SHIFT",
                                        "VORTAN_OP_CLOCK",     "VORTAN_OP_X",
                                        "VORTAN_OP_Z",         "VORTAN_OP_Y",
                                        "VORTAN_OP_HADAMARD",  "VORTAN_OP_INVERSE_HADAMARD",
                                        "VORTAN_OP_SWAP",      "VORTAN_OP_I_SWAP",
                                        "VORTAN_OP_PHASE_ROTATE"};
    return opcode <= VORTAN_OP_PHASE_ROTATE ? names[opcode] : "<unknown opcode>";
}

const char* short_name(std::uint32_t kind) {
    static const char* const names[] = {"CYCLE", "SHIFT", "CLOCK", "X", "Z", "Y", "HADAMARD",
                                        "INVERSE_HADAMARD", "SWAP", "I_SWAP", "PHASE_ROTATE", "ROTATE_BASIS_PAIR"};
    return kind <= ROTATE_BASIS_PAIR ? names[kind] : "UNKNOWN";
}

void set_message(vortan_batch_result& result, const char* text) { copy_message(result.error_message, text); }

/// Fills the result record and reports the same failure.
vortan_result fail_batch(vortan_batch_result& result, vortan_error_info* error_info, vortan_result code,
                         const char* text, std::uint64_t executed, Site site,
                         std::source_location check = std::source_location::current()) {
    result.ops_executed = executed;
    result.error_code = code;
    set_message(result, text);
    return fail(error_info, code, text, site, check);
}

/// Literal pieces and decimal numbers joined in place, cut at 255 characters
/// as the records would cut them. Validation reports before any guarded
/// region, so its text is composed without allocating: nothing there can fail.
class FixedText {
public:
    template <class... Pieces>
    void assign(const Pieces&... pieces) noexcept {
        length_ = 0;
        (append(pieces), ...);
        text_[length_] = '\0';
    }
    const char* c_str() const noexcept { return text_; }

private:
    void append(const char* piece) noexcept {
        while (*piece != '\0' && length_ < sizeof text_ - 1) text_[length_++] = *piece++;
    }
    void append(std::size_t number) noexcept {
        char digits[24];
        *std::to_chars(digits, digits + sizeof digits - 1, number).ptr = '\0';
        append(static_cast<const char*>(digits));
    }

    char text_[256] = {};
    std::size_t length_ = 0;
};

/// The first fault of any record, written to `fault`; false if there is none.
bool validate(const vortan_batch_op* ops, std::size_t op_count, FixedText& fault) noexcept {
    for (std::size_t i = 0; i < op_count; ++i) {
        const vortan_batch_op& op = ops[i];
        const auto found = [&](const auto&... tail) {
            fault.assign("op ", i, " (", op_name(op.opcode), tail...);
            return true;
        };
        if (op.opcode != VORTAN_OP_PHASE_ROTATE && op.target == nullptr) return found("): target cannot be NULL");
        if ((op.opcode == VORTAN_OP_SWAP || op.opcode == VORTAN_OP_I_SWAP) && op.target2 == nullptr)
            return found("): target2 cannot be NULL");
        if (op.predicate_count == 0) continue;
        if (op.predicates == nullptr) return found("): predicates cannot be NULL when predicate_count > 0");
        for (std::size_t j = 0; j < op.predicate_count; ++j)
            if (op.predicates[j] == nullptr) return found("): predicates[", j, "] cannot be NULL");
    }
    return false;
}

/// Scratch lists reserved once and reused by every operation of the run.
struct Scratch {
    Scratch() {
        properties.reserve(16);
        targets.reserve(2);
        predicates.reserve(8);
    }
    std::vector<QuantumProperty*> properties;
    qudit::Targets targets;
    qudit::Predicates predicates;
};

/// Runs one operation; false for a kind outside the table, which the
/// conversion makes unreachable.
bool run_one(const BatchOperation& op, std::size_t index, Scratch& scratch) {
    // The label serves only a failure: built for every operation, it was the
    // largest cost of the batch's own.
    const auto label = [&] { return str_cat("execute_batch: op ", index, " (", short_name(op.kind), ")"); };
    const bool needs_target = op.kind != VORTAN_OP_PHASE_ROTATE && op.kind != ROTATE_BASIS_PAIR;
    if (needs_target && op.target == nullptr) throw std::invalid_argument(label() + " requires a non-null target");
    if ((op.kind == VORTAN_OP_SWAP || op.kind == VORTAN_OP_I_SWAP) && op.target2 == nullptr)
        throw std::invalid_argument(label() + " requires a non-null target2");
    for (std::size_t j = 0; j < op.predicates.size(); ++j)
        if (op.predicates[j].property == nullptr)
            throw std::invalid_argument(str_cat(label(), " has a null property in predicate ", j));

    // NaN asks for the whole gate; any other value, 1 included, for its power.
    const bool whole = std::isnan(op.fraction);
    if (op.kind == VORTAN_OP_Y) {
        apply_y(op.target, op.predicates, whole, op.fraction);
        return true;
    }
    if (op.kind == VORTAN_OP_PHASE_ROTATE && op.predicates.empty()) return true;

    scratch.properties.clear();
    if (op.target != nullptr) scratch.properties.push_back(op.target);
    if (op.target2 != nullptr) scratch.properties.push_back(op.target2);
    for (const vortan_predicate_record& record : op.predicates) scratch.properties.push_back(record.property);
    qudit::IState& state = *tensor_state(scratch.properties);

    scratch.predicates.clear();
    for (const vortan_predicate_record& record : op.predicates)
        scratch.predicates.push_back({record.property->qudit_index, record.value, record.is_equal});
    scratch.targets.clear();
    if (op.target != nullptr) scratch.targets.push_back(op.target->qudit_index);
    const qudit::Targets& targets = scratch.targets;
    const qudit::Predicates& predicates = scratch.predicates;

    switch (op.kind) {
        case VORTAN_OP_CYCLE:
            whole ? state.cycle(targets, predicates) : state.fractional_cycle(targets, op.fraction, predicates);
            break;
        case VORTAN_OP_SHIFT:
        case VORTAN_OP_X:
            whole ? state.shift(targets, predicates) : state.fractional_shift(targets, op.fraction, predicates);
            break;
        case VORTAN_OP_CLOCK:
        case VORTAN_OP_Z:
            whole ? state.clock(targets, predicates) : state.fractional_clock(targets, op.fraction, predicates);
            break;
        case VORTAN_OP_HADAMARD:
            whole ? state.hadamard(targets, predicates)
                  : state.fractional_hadamard(targets, op.fraction, predicates);
            break;
        case VORTAN_OP_INVERSE_HADAMARD: state.inverse_hadamard(targets, predicates); break;
        case VORTAN_OP_SWAP: state.swap(targets[0], op.target2->qudit_index, predicates); break;
        case VORTAN_OP_I_SWAP:
            state.i_swap(targets[0], op.target2->qudit_index, whole ? 1.0 : op.fraction, predicates);
            break;
        case VORTAN_OP_PHASE_ROTATE: state.phase_rotate(predicates, op.angle); break;
        case ROTATE_BASIS_PAIR: state.basis_rotation(op.dits_a, op.dits_b, op.angle); break;
        default: return false;
    }
    return true;
}

using ConversionClauses =
    ClauseList<Catch<std::invalid_argument, VORTAN_ERROR_INVALID_ARGUMENT>, Catch<std::exception, VORTAN_ERROR_INTERNAL>>;

}  // namespace
}  // namespace vortan::api

using namespace vortan;
using namespace vortan::api;

extern "C" {

VORTAN_API vortan_result vortan_execute_batch(const vortan_batch_op* ops, size_t op_count, vortan_batch_result* result,
                                              vortan_error_info* error_info) {
    // Stage 1: the result record, then the array.
    if (result == nullptr)
        return fail(error_info, VORTAN_ERROR_NULL_POINTER, "result cannot be NULL", VORTAN_SITE);
    result->ops_executed = 0;
    result->error_code = VORTAN_SUCCESS;
    result->error_message[0] = '\0';
    if (op_count == 0) return VORTAN_SUCCESS;
    if (ops == nullptr)
        return fail_batch(*result, error_info, VORTAN_ERROR_NULL_POINTER, "ops cannot be NULL when op_count > 0", 0,
                          VORTAN_SITE);

    // Stage 2: every record, before anything is touched.
    if (FixedText fault; validate(ops, op_count, fault))
        return fail_batch(*result, error_info, VORTAN_ERROR_NULL_POINTER, fault.c_str(), 0, VORTAN_SITE);

    // Stage 3: the internal list, with the predicates copied out of their handles.
    std::vector<BatchOperation> list;
    std::unique_ptr<Scratch> scratch;
    const vortan_result converted = guarded<ConversionClauses>(
        error_info, VORTAN_SITE,
        [&] {
            list.reserve(op_count);
            for (std::size_t i = 0; i < op_count; ++i) {
                const vortan_batch_op& op = ops[i];
                if (op.opcode > VORTAN_OP_PHASE_ROTATE)
                    throw std::invalid_argument(qudit::str_cat("Unknown opcode: ", op.opcode));
                list.push_back({static_cast<std::uint8_t>(op.opcode), from_handle(op.target), from_handle(op.target2),
                                op.fraction, op.angle, collect_predicates(op.predicates, op.predicate_count), {}, {}});
            }
            scratch = std::make_unique<Scratch>();
        },
        [&](vortan_result code, const char* text) {
            result->ops_executed = 0;
            result->error_code = code;
            set_message(*result, text);
        });
    if (converted != VORTAN_SUCCESS) return converted;

    // Stage 4: the run. Whatever fails is 900; the text is kept in the result
    // (which allocates nothing) and reported once the handler has ended.
    std::uint64_t executed = 0;
    bool failed = false;
    try {
        for (std::size_t i = 0; i < list.size(); ++i, ++executed) {
            if (!run_one(list[i], i, *scratch)) {
                set_message(*result, qudit::str_cat("Unknown opcode: ", list[i].kind).c_str());
                failed = true;
                break;
            }
        }
    } catch (const std::exception& e) {
        set_message(*result, e.what());
        failed = true;
    }
    result->ops_executed = executed;
    if (!failed) {
        result->error_code = VORTAN_SUCCESS;
        return VORTAN_SUCCESS;
    }
    result->error_code = VORTAN_ERROR_INTERNAL;
    return fail(error_info, VORTAN_ERROR_INTERNAL, result->error_message, VORTAN_SITE);
}

}  // extern "C"
