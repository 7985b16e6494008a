#include <VXMesh/system/TerminalLog.h>

#include <VXMesh/io/Text.h>

#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>

namespace VX
{
namespace
{

/// The usual line of a log, around a text that is made visible.
class VisibleFormatter final : public spdlog::formatter
{
public:
    void format( const spdlog::details::log_msg& message, spdlog::memory_buf_t& out ) override
    {
        const auto text = visibleText( { message.payload.data(), message.payload.size() } );
        auto shown = message;
        shown.payload = text;
        line_.format( shown, out );
        message.color_range_start = shown.color_range_start;
        message.color_range_end = shown.color_range_end;
    }
    [[nodiscard]] std::unique_ptr<spdlog::formatter> clone() const override
    {
        return std::make_unique<VisibleFormatter>();
    }

private:
    spdlog::pattern_formatter line_;
};

} // namespace

void startTerminalLog( const std::string& name )
{
    const auto logger = spdlog::stderr_color_mt( name );
    logger->set_formatter( std::make_unique<VisibleFormatter>() );
    spdlog::set_default_logger( logger );
}

} // namespace VX
