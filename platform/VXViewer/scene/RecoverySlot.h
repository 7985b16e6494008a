#pragma once

#include <VXViewer/Export.h>

#include <tl/expected.hpp>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace VX
{

/// What is told of kept work when it is offered.
struct RecoveryInfo
{
    /// Where the scene belongs; empty when it was never saved.
    std::filesystem::path file;
    /// When it was kept, in seconds since 1970.
    int64_t time = 0;
};

/// A place on the disk where one running program keeps the work that is not saved yet.
///
/// It is a folder that its owner alone can read, with a lock that lasts as long as this object or until the process
/// ends, in whatever way: so that what a dead program has left is told from what another one is still at. Any thread,
/// one at a time.
class VXVIEWER_API RecoverySlot
{
public:
    /// No program may fill a disk: of work that was left behind the oldest goes when all together is larger.
    static constexpr uint64_t cMostBytesInAll = uint64_t( 4 ) << 30;

    /// Makes an empty slot in a folder, which is made when it is missing. The error says why it cannot be.
    [[nodiscard]] static tl::expected<RecoverySlot, std::string> create( const std::filesystem::path& folder );
    /// Takes the slots of programs that ended without emptying theirs, the newest first. Those without work are
    /// tidied away.
    [[nodiscard]] static std::vector<RecoverySlot> takeAbandoned(
        const std::filesystem::path& folder, uint64_t mostBytes = cMostBytesInAll );

    RecoverySlot( RecoverySlot&& ) noexcept = default;
    RecoverySlot& operator=( RecoverySlot&& ) noexcept = default;
    ~RecoverySlot() = default;

    /// Replaces the kept scene in one step. It is offered after a crash once `writeInfo` has been called, too.
    [[nodiscard]] tl::expected<void, std::string> writeScene( std::span<const std::byte> vxu );
    [[nodiscard]] tl::expected<void, std::string> writeInfo( const RecoveryInfo& info );

    [[nodiscard]] const RecoveryInfo& info() const { return info_; }
    /// The kept scene, a .vxu file.
    [[nodiscard]] std::filesystem::path scene() const { return folder_ / "scene.vxu"; }

    /// Drops the kept work, if any; the slot stays.
    void clear();
    /// Drops the slot and what is in it.
    void remove();

private:
    /// An open file whose lock goes with it.
    class Lock;

    RecoverySlot( std::filesystem::path folder, std::shared_ptr<Lock> lock );
    [[nodiscard]] std::filesystem::path infoFile_() const { return folder_ / "info.json"; }
    [[nodiscard]] bool readInfo_();

    std::filesystem::path folder_;
    RecoveryInfo info_;
    std::shared_ptr<Lock> lock_;
};

} // namespace VX
