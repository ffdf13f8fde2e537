// Reads each FROM and writes its value to TO as XML, for the comparison with another
// implementation of property lists: property_list_converter FROM TO [FROM TO]...

#include "simulator/core_foundation/test_objects.h"

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

namespace {

using namespace simulator::test;

bool report(const std::string& file, CFErrorRef error) {
    const handle<CFErrorRef> owned_error(error);
    std::cerr << file << ": " << description_of(error) << '\n';
    return false;
}

bool convert(const std::string& from, const std::string& to) {
    std::ifstream input(from, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(input),
                            std::istreambuf_iterator<char>()};
    CFErrorRef error = nullptr;
    const handle<CFPropertyListRef> value(CFPropertyListCreateWithData(
        kCFAllocatorDefault, make_data(bytes).get(), kCFPropertyListImmutable, nullptr, &error));
    if (!value) {
        return report(from, error);
    }
    const handle<CFDataRef> document(CFPropertyListCreateData(
        kCFAllocatorDefault, value.get(), kCFPropertyListXMLFormat_v1_0, 0, &error));
    if (!document) {
        return report(from, error);
    }
    std::ofstream output(to, std::ios::binary);
    output << text_of(document.get());
    return output.flush().good();
}

} // namespace

int main(int argc, char** argv) {
    for (int i = 1; i + 1 < argc; i += 2) {
        if (!convert(argv[i], argv[i + 1])) {
            return 1;
        }
    }
    return 0;
}
