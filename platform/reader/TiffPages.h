#pragma once

#include <VXMesh/formats/voxels/VoxelStream.h>

#include <tl/expected.hpp>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <tiffio.h>

namespace VX
{

/// What a page of a TIFF file holds.
struct TiffPage
{
    uint32_t width = 0, height = 0;
    FileNumber number = FileNumber::UInt8;
    Channels channels = Channels::One;
    bool isInverted = false;     ///< white is 0
    double stepX = 1, stepY = 1; ///< millimetres
    double stepZ = 0;            ///< the same, where the file tells it

    [[nodiscard]] bool isLike( const TiffPage& other ) const
    {
        return width == other.width && height == other.height && number == other.number && channels == other.channels &&
               isInverted == other.isInverted;
    }
    [[nodiscard]] size_t rowBytes() const;
};

/// An open TIFF file, one page at a time.
class TiffFile
{
public:
    [[nodiscard]] static tl::expected<TiffFile, std::string> open( const std::filesystem::path& file );

    /// Goes to the first page that is an image of its own; false when there is none.
    [[nodiscard]] tl::expected<bool, std::string> rewind();
    /// To the next one; false at the end. Fails where the file has lost what comes next.
    [[nodiscard]] tl::expected<bool, std::string> next();

    /// What the page holds; the error says what about it cannot be read.
    [[nodiscard]] tl::expected<TiffPage, std::string> page() const;
    /// Its bytes, row after row, in the machine's order.
    [[nodiscard]] tl::expected<std::vector<std::byte>, std::string> read( const TiffPage& page ) const;

private:
    struct Close
    {
        void operator()( TIFF* tiff ) const { ::TIFFClose( tiff ); }
    };

    explicit TiffFile( TIFF* tiff );
    [[nodiscard]] bool isThumbnail_() const;
    [[nodiscard]] bool readStrips_( const TiffPage& page, std::span<std::byte> out ) const;
    [[nodiscard]] bool readTiles_( const TiffPage& page, std::span<std::byte> out ) const;

    std::unique_ptr<TIFF, Close> tiff_;
};

} // namespace VX
