#pragma once

#include <VXMesh/scene/Object.h>

#include <memory>
#include <string>
#include <vector>

namespace VX
{

/// What a file held.
struct LoadedObjects
{
    /// The roots of the file's trees, in its order; they have no parent yet.
    std::vector<std::shared_ptr<Object>> objects;
    /// What was left out or mended, one sentence per line; empty when the file was read whole.
    std::string warnings;
};

} // namespace VX
