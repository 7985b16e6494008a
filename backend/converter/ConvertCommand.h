#pragma once

#include "converter/WorkerProcess.h"

#include <filesystem>

namespace VX::Backend
{

/// "orvanta-backend convert": one STEP file into one scene file by the worker that the service uses, without a service.
struct ConvertCommand
{
    std::filesystem::path input;
    std::filesystem::path output; ///< a .vxu file; replaced in one step
    WorkerLimits limits;
    /// Speaks to a program instead of a person: "progress 0.25", "error" with a text or "done" are lines of standard
    /// output, and anything on standard input, its end too, cancels.
    bool forProgram = false;
};

/// The exit status after a cancel by SIGINT, SIGTERM or the program that started it.
inline constexpr int cConvertCanceled = 130;

/// Returns the exit status: 0 when the output is there, 1 when it is not for a reason that was told, or
/// `cConvertCanceled`. Takes the signals of the process over.
[[nodiscard]] int runConvertCommand( const ConvertCommand& command );

} // namespace VX::Backend
