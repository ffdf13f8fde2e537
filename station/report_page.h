#pragma once

/// A run as a page for a browser: one file without scripts and without references to others.

#include "station/run_record.h"

#include <string>

namespace vandrel::station {

struct page_facts {
    /// When the page was made, RFC 3339.
    std::string made;
    /// The run's folder.
    std::string folder;
    /// The version of the station that makes the page.
    std::string version;
};

/// The whole page, in UTF-8.
std::string report_page(const run_record& record, const page_facts& facts);

} // namespace vandrel::station
