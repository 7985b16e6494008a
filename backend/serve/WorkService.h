#pragma once

#include "serve/Daemon.h"
#include "serve/Service.h"

#include <memory>

namespace VX::Backend
{

/// Workers alone, on a machine of their own: they take jobs from the database that services share, and know the files
/// by the store that those share. Nobody can reach it but its operator.
class WorkService final : public Daemon
{
public:
    [[nodiscard]] static tl::expected<std::unique_ptr<WorkService>, std::string> start( const ServiceOptions& options );
    ~WorkService() override;

    [[nodiscard]] std::string greeting() const override;
    [[nodiscard]] uint16_t monitorPort() const override;
    void reload() override {}
    void drain() override;
    [[nodiscard]] bool isDrained() const override;

private:
    class Parts;
    explicit WorkService( std::unique_ptr<Parts> parts );
    std::unique_ptr<Parts> parts_;
};

} // namespace VX::Backend
