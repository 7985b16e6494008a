#pragma once

#include <VXMesh/formats/voxels/RawVolume.h>
#include <VXViewer/Export.h>

#include <memory>
#include <optional>
#include <string>

namespace VX
{

/// What a person who describes a file of bare voxels is shown: whether the description fits to the file, and a slice as
/// it would be. UI thread.
class VXVIEWER_API RawPreview
{
public:
    /// A file that is there. What its name and size tell is the first description.
    explicit RawPreview( std::filesystem::path file );

    [[nodiscard]] const std::filesystem::path& file() const { return file_; }
    [[nodiscard]] uint64_t fileBytes() const { return fileBytes_; }
    /// What the file might be, the likeliest first.
    [[nodiscard]] const std::vector<RawVolume>& guesses() const { return guesses_; }

    [[nodiscard]] const RawVolume& raw() const { return raw_; }
    /// Held to what can be at all.
    void describe( RawVolume raw );
    /// Why the file cannot be opened so: "The file is 100 bytes too short"; empty when it can.
    [[nodiscard]] std::string problem() const;

    /// The slice that is looked at, held to those of the description.
    [[nodiscard]] int slice() const { return slice_; }
    void look( int slice );
    /// That slice alone, with a window; null where there is a problem. Reads the file at the first call after a change.
    [[nodiscard]] const std::shared_ptr<const Volume>& picture();

private:
    void read_();

    std::filesystem::path file_;
    uint64_t fileBytes_ = 0;
    std::vector<RawVolume> guesses_;
    RawVolume raw_;
    int slice_ = 0;
    bool outdated_ = true;
    std::shared_ptr<const Volume> picture_;
};

/// "256 x 256 x 108, 16 bit signed, big endian".
[[nodiscard]] VXVIEWER_API std::string describe( const RawVolume& raw );

} // namespace VX
