#pragma once

#include <type_traits>

#include "dsp/OperationTable.h"

/// Level 0 of the operation table: plain loops that say what each operation means (see OperationTable.h).
/// They check nothing and always return 0.
namespace mlh::Generic {

#define MLH_DECLARE_LOOP(name, server) std::remove_pointer_t<decltype(OperationTable::name)> name;
MLH_OPERATION_LIST(MLH_DECLARE_LOOP)
#undef MLH_DECLARE_LOOP

}  // namespace mlh::Generic
