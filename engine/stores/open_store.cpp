#include "stores/bookmark_store.h"
#include "stores/safari/safari_store.h"

namespace orvane {

std::unique_ptr<BookmarkStore> openStore(const std::filesystem::path& file, const std::filesystem::path& givenPath) {
    return std::make_unique<safari::SafariStore>(file, givenPath);
}

}  // namespace orvane
