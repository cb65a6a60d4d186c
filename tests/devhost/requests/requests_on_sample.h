#pragma once

#include "devhost/opened_documents.h"
#include "devhost/test_folder.h"

#include <gtest/gtest.h>

#include <string>

/// Asks about a small library whose addresses are known: data/sample_x86_64.elf.
class Requests : public testing::Test {
 protected:
  void SetUp() override { sample_.open(testDataPath("sample_x86_64.elf")); }

  std::string json(const char* selector, const QJsonArray& args = {}) {
    return jsonText(sample_.ask(selector, args));
  }

  OpenedDocuments sample_;
};
