#include "companion/common/whole_write.h"

bool writeWhole(QFileDevice& file, std::string_view text) {
  while (!text.empty()) {
    const qint64 written = file.write(text.data(), static_cast<qint64>(text.size()));
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  // Of a flush that wrote a part, Qt does not know why it was not all; the next one tells.
  return file.flush() || file.flush();
}
