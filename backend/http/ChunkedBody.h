#pragma once

#include <cstdint>
#include <string>

namespace VX::Backend
{

/// How far something is that comes in pieces.
enum class Reading
{
    More,     ///< goes on with the next piece
    Done,     ///< is there
    Wrong,    ///< breaks the rules
    TooLarge, ///< is longer than allowed
};

/// Takes the chunks of a request's body apart. What frames them is bounded as well, and takes no memory. Fields behind
/// the last chunk are refused: nobody here reads them.
class ChunkedBody
{
public:
    /// The bytes of the body, and all bytes with those around them.
    ChunkedBody( uint64_t mostBody, uint64_t mostInAll );

    /// Moves what belongs to the body from the front of `bytes` to the end of `body`; once done, the rest of `bytes` is
    /// what follows. Not to be called again after another answer than `More`.
    [[nodiscard]] Reading take( std::string& bytes, std::string& body );

private:
    enum class Part
    {
        Size,
        Extension,
        SizeEnd,
        Data,
        DataReturn,
        DataEnd,
        LastReturn,
        LastEnd
    };

    [[nodiscard]] Reading takeOne_( char c );
    [[nodiscard]] Reading takeSize_( char c );
    [[nodiscard]] size_t takeData_( const std::string& bytes, size_t at, std::string& body );

    uint64_t mostBody_, mostInAll_;
    Part part_ = Part::Size;
    uint64_t left_ = 0; ///< of the chunk
    int digits_ = 0;
    uint64_t body_ = 0, inAll_ = 0;
};

} // namespace VX::Backend
