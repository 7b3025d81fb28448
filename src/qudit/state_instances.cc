// The family of state types: one State<T> per compiled shape, and the dynamic
// form, which the factory never makes but which is built as a member all the same.

#include "qudit/state_impl.h"

namespace vortan::qudit {

#define VORTAN_SHAPE(D, N) template class State<DitArray<D, N>>;
#include "qudit/state_shapes.def"
#undef VORTAN_SHAPE
template class State<DynamicDitArray>;

static_assert(sizeof(BasisEntry<DitArray<2, 12>>) == 32 && sizeof(BasisEntry<DitArray<3, 12>>) == 32,
              "a packed basis entry is four words");
static_assert(std::is_trivially_copyable_v<DitArray<3, 12>> &&
                  std::is_trivially_copyable_v<BasisEntry<DitArray<2, 1>>>,
              "packed entries are copied as bytes");

}  // namespace vortan::qudit
