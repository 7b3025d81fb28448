#include "property/quantum_property.h"

#include <vector>

namespace vortan {

QuantumProperty::QuantumProperty(std::uint64_t dimension) {
    const std::vector<qudit::DynamicBasisEntry> basis_zero{
        {qudit::DynamicDitArray({qudit::Dit{0, dimension}}), {1.0, 0.0}}};
    auto group = std::make_shared<SharedState>();
    group->state = qudit::make_state(dimension, 1, basis_zero);
    group->properties.push_back(this);
    shared = std::move(group);
}

QuantumProperty::~QuantumProperty() {
    if (shared) shared->properties.remove(this);
}

}  // namespace vortan
