#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>

namespace VX::App
{

/// Tells when files have been written anew. A thread sleeps in the kernel until then, so that it costs nothing.
class FileWatch
{
public:
    /// `changed` is called on the watch's thread.
    explicit FileWatch( std::function<void( const std::filesystem::path& file )> changed );
    ~FileWatch();
    FileWatch( const FileWatch& ) = delete;
    FileWatch& operator=( const FileWatch& ) = delete;

    /// Absolute paths; a file that cannot be watched is left alone. Any thread.
    void watch( const std::filesystem::path& file );
    void unwatch( const std::filesystem::path& file );

private:
    struct Folder
    {
        std::filesystem::path path;
        std::set<std::string> names;
    };

    void run_();
    void tell_( int folder, const std::string& name );

    std::function<void( const std::filesystem::path& )> changed_;
    int inotify_ = -1;
    int wake_ = -1;
    std::mutex mutex_;
    /// By the kernel's number for it.
    std::map<int, Folder> folders_;
    std::thread thread_;
};

} // namespace VX::App
