#include "TextFile.h"

#include <sys/mman.h>
#include <unistd.h>

#include "Check.h"

namespace fuzz {

TextFile::TextFile()
    : descriptor(memfd_create("fuzz", MFD_CLOEXEC)), name("/proc/self/fd/" + std::to_string(descriptor)) {
  require(descriptor >= 0, "no file in memory");
}

TextFile::~TextFile() {
  close(descriptor);
}

void TextFile::write(const std::string& text) {
  require(ftruncate(descriptor, 0) == 0, "the file cannot be emptied");
  const ssize_t written = pwrite(descriptor, text.data(), text.size(), 0);
  require(written == static_cast<ssize_t>(text.size()), "the file cannot be written");
}

}  // namespace fuzz
