#include "qudit/state.h"

namespace vortan::qudit {

// Out of line so that the vtable of IState lives in this one object.
IState::~IState() = default;

}  // namespace vortan::qudit
