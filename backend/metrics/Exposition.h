#pragma once

#include "metrics/Histogram.h"

#include <string>
#include <utility>
#include <vector>

namespace VX::Backend
{

/// Writes figures in the text format of Prometheus (https://prometheus.io/docs/instrumenting/exposition_formats).
class Exposition
{
public:
    using Labels = std::vector<std::pair<std::string, std::string>>;

    /// Begins a family; what follows belongs to it.
    void gauge( const std::string& name, const std::string& help ) { begin_( name, "gauge", help ); }
    void counter( const std::string& name, const std::string& help ) { begin_( name, "counter", help ); }
    void histogram( const std::string& name, const std::string& help ) { begin_( name, "histogram", help ); }

    void add( double value, const Labels& labels = {} );
    void add( const Histogram& histogram, const Labels& labels = {} );

    [[nodiscard]] const std::string& text() const { return text_; }

private:
    void begin_( const std::string& name, const char* type, const std::string& help );
    void sample_( const std::string& name, const Labels& labels, double value );

    std::string name_, text_;
};

} // namespace VX::Backend
