#pragma once

#include <Interface_InterfaceModel.hxx>

#include <cstdint>

namespace VX::Backend
{

/// How many objects a STEP file makes at most of one assembly, where every use of a part is one; `most` + 1 for more
/// than that. A short file can name very many, for each level may use the one below twice: they are counted by what the
/// file says, without a walk through all of them, and before anything is made.
[[nodiscard]] uint64_t countInstances( const Handle( Interface_InterfaceModel ) & model, uint64_t most );

} // namespace VX::Backend
