#pragma once

#include <VXViewer/Export.h>

#include <cstddef>
#include <string>

namespace VX
{

/// One step of the user that can be taken back and done again. It is appended to the history when it has been done.
class VXVIEWER_API HistoryAction
{
public:
    enum class Type
    {
        Undo,
        Redo
    };

    virtual ~HistoryAction() = default;

    /// As the user reads it: "Delete 3 objects".
    [[nodiscard]] virtual std::string name() const = 0;
    /// Takes the step back, or does it again; called alternately, with undo first.
    virtual void action( Type type ) = 0;
};

} // namespace VX
