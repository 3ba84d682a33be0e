// SPDX-License-Identifier: MIT
// JSON texts through the parser and the writer, compared with plain RapidJSON: code and place of the
// error, the tree to the bit, what the pool holds, and the text that is written.
//
// A mutation of our own puts numbers and strings of critical lengths into a text, which those of libFuzzer
// rarely find.
#include "fast_reader.h"
#include "plain_rapidjson.h"
#include "text_parser.h"
#include "tree.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <string_view>

namespace {

using namespace tovkit;

void Require(bool holds) {
  if (!holds) std::abort();
}

std::string Digits(std::size_t count, std::minstd_rand& random) {
  std::string digits(count, '0');
  for (char& c : digits) c = static_cast<char>('0' + random() % 10);
  return digits;
}

std::string Number(std::minstd_rand& random) {
  std::string number = random() % 3 == 0 ? "-" : "";
  number += random() % 4 == 0 ? "0" : "9" + Digits(random() % 22, random);
  if (random() % 2 == 0)
    number +=
        "." + std::string(random() % 6 == 0 ? random() % 300 : 0, '0') + Digits(1 + random() % 22, random);
  if (random() % 2 == 0) number += (random() % 2 == 0 ? "e" : "E-") + Digits(1 + random() % 4, random);
  return number;
}

std::string String(std::minstd_rand& random) {
  static const char* const kPieces[] = {"\\n",     "\\\"",    "\\\\", "\\u0041", "\\ud83d\\ude00",
                                        "\\udc00", "\\ud800", "\xff", "\x1f"};
  std::string text(random() % 70, 's');
  if (random() % 2 == 0) text.insert(random() % (text.size() + 1), kPieces[random() % std::size(kPieces)]);
  return "\"" + text + "\"";
}

}  // namespace

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t capacity);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t capacity,
                                               unsigned int seed) {
  std::minstd_rand random(seed);
  if (random() % 4 != 0) return LLVMFuzzerMutate(data, size, capacity);
  const std::string piece = random() % 4 == 0   ? std::string(random() % 70, ' ')
                            : random() % 2 == 0 ? Number(random) + ","
                                                : String(random) + (random() % 2 == 0 ? "," : ":");
  if (size + piece.size() > capacity) return LLVMFuzzerMutate(data, size, capacity);
  // Behind a bracket, a comma or a colon, if one is found soon.
  std::size_t at = random() % (size + 1);
  for (int step = 0; step < 64 && at > 0 && at < size && std::strchr("[{,:", data[at - 1]) == nullptr; ++step)
    ++at;
  std::memmove(data + at + piece.size(), data + at, size - at);
  std::copy(piece.begin(), piece.end(), data + at);
  return size + piece.size();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // A block of its own, so that a sanitizer sees what is read behind it.
  const auto block = std::make_unique<char[]>(size);
  std::memcpy(block.get(), data, size);
  const std::string_view text(block.get(), size);
  Document document(nullptr, kParseStackCapacity, &HeapAllocator::Shared());
  const ParseResult result = ParseText(text.data(), text.size(), document);
  const PlainRead plain(text);
  Require(result.code == plain.Code());
  Require(result.offset == plain.Offset());
  Require(result.readFast == plain.IsContainer());
  if (!result.IsRead()) return 0;
  Require(SameBits(document, *plain.document));
  Require(document.GetAllocator().Size() == plain.document->GetAllocator().Size());
  const CoreString written = WriteTree(document);
  Require(PlainWrite(*plain.document) ==
          std::string_view(written.c_str(), static_cast<std::size_t>(written.GetLength())));
  DocumentPool pool;
  Require(SameBits(CopyTree(document, pool), document));
  return 0;
}
