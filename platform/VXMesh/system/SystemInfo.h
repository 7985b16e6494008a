#pragma once

#include <VXMesh/Export.h>

#include <json/value.h>

#include <string>

namespace VX
{

/// Four numbers with dots between them, "0.1.0.0", and whatever the build was told to put behind them.
[[nodiscard]] VXMESH_API std::string GetVXVersionString();

/// As the system calls itself to people: "Debian GNU/Linux 12 (bookworm)".
[[nodiscard]] VXMESH_API std::string GetDetailedOSName();

/// System and machine in one word: "Linux_x86_64". On a Mac it must say "Apple_x86_64" or "Apple_arm64", after what the
/// program was built for: the menu tells by it who runs the Intel build on another processor.
[[nodiscard]] VXMESH_API std::string getOSNoSpaces();

/// The processor's model name; empty when the system does not tell.
[[nodiscard]] VXMESH_API std::string GetCpuId();

/// Facts about this machine: "OS Version", "CPU Info" with "CPU" and "Concurrent threads", "Memory Info" with "Physical
/// memory total MB" (text). A fact that the system does not tell is left out. No names of people, files or hosts.
[[nodiscard]] VXMESH_API Json::Value GetMachineInfoJson();

} // namespace VX
