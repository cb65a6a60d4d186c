#include "companion/clients/text_edit.h"

std::string_view lineEndOf(std::string_view text) {
  return text.find("\r\n") == std::string_view::npos ? "\n" : "\r\n";
}
