#pragma once

#include "TestPlaces.h"
#include "support/ScratchFolder.h"

#include <filesystem>
#include <string>
#include <vector>

namespace VX::Testing
{

/// What a process of the back end is there for, and whom it shares its database with.
struct BackendRole
{
    std::string command = "serve";
    int port = ORVANTA_TEST_PORT; ///< 0 for none
    std::string database = {};    ///< its address; one of its own, or files, unless set
};

/// The real back end in a process of its own, on the port that the libraries were built for, with a fresh folder, and
/// with a fresh database where tests run over PostgreSQL.
/// Programs of this process trust its certificate.
class BackendProcess
{
public:
    /// Its log goes into a file, unless that is empty. `before` is a program, with arguments, that runs it in its
    /// place.
    explicit BackendProcess( std::vector<std::string> options = { "--allow-anonymous" }, std::filesystem::path log = {},
        std::vector<std::string> before = {}, BackendRole role = {} );
    ~BackendProcess();
    BackendProcess( const BackendProcess& ) = delete;
    BackendProcess& operator=( const BackendProcess& ) = delete;

    /// Kills it without a chance to clean up, and starts it again on the same folder.
    void restart();
    void kill();
    void signal( int number ) const;
    /// Waits until it has ended by itself, and returns its exit status; -1 when it died.
    [[nodiscard]] int awaitEnd();
    [[nodiscard]] int pid() const { return pid_; }
    /// Options of the next start.
    void setOptions( std::vector<std::string> options ) { options_ = std::move( options ); }
    [[nodiscard]] const std::filesystem::path& data() const { return folder_.path(); }
    [[nodiscard]] bool isRunning() const;

private:
    void start_();

    ScratchFolder folder_;
    std::vector<std::string> options_;
    std::filesystem::path log_;
    std::vector<std::string> before_;
    BackendRole role_;
    int pid_ = -1;
};

} // namespace VX::Testing
