#include "metrics/Measures.h"

namespace VX::Backend
{

Measures& measures()
{
    static auto& sMeasures = *new Measures;
    return sMeasures;
}

} // namespace VX::Backend
