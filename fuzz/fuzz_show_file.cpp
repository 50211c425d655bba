// Show files arrive from other machines and other versions: any bytes must
// either decode or fail cleanly, and what decodes must survive a save and a
// second read unchanged.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "document/ShowFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view json(reinterpret_cast<const char*>(data), size);
    auto show = ostinel::ShowFile::decode(json);
    if (!show) return 0;
    for (auto flavour : {ostinel::ShowFile::Flavour::pretty, ostinel::ShowFile::Flavour::compact}) {
        auto encoded = ostinel::ShowFile::encode(*show, flavour);
        // A number JSON can't hold is refused by name, not written.
        if (!encoded) continue;
        auto again = ostinel::ShowFile::decode(*encoded);
        if (!again || !(*again == *show)) std::abort();
    }
    return 0;
}
