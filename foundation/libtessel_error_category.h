#pragma once

#include <boost/system/error_category.hpp>

#include <string>

namespace vandrel {

/// Results of libtessel, a library for USB hubs. Any thread.
class libtessel_error_category : public boost::system::error_category {
public:
    virtual ~libtessel_error_category() = default;
    /// The one object of this category.
    static const libtessel_error_category& instance();

    /// "libtessel".
    const char* name() const noexcept override;
    using boost::system::error_category::message;
    std::string message(int code) const override;

private:
    libtessel_error_category() = default;
};

} // namespace vandrel
