// SPDX-License-Identifier: MIT
#include <tovkit/util.h>

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::string Bytes(const CoreString& text) {
  return std::string(text.c_str(), static_cast<std::size_t>(text.GetLength()));
}

std::string Encode(const std::string& data) {
  return Bytes(tovkit::Base64Encode(reinterpret_cast<const unsigned char*>(data.data()),
                                    static_cast<int>(data.size())));
}

std::string Decode(const std::string& text) {
  return Bytes(tovkit::Base64Decode(text.data(), static_cast<int>(text.size())));
}

std::string RandomBytes(std::size_t length, std::mt19937& random) {
  std::string data(length, '\0');
  for (char& c : data) c = static_cast<char>(random());
  return data;
}

// What coreutils makes of many pieces, each encoded by itself, in two processes: the pieces are padded to
// whole groups so that their texts stand one behind the other, a line for each.
std::vector<std::string> EncodedByCoreutils(const std::vector<std::string>& pieces) {
  char directory[] = "/tmp/base64_test.XXXXXX";
  if (mkdtemp(directory) == nullptr) return {};
  const std::string base = directory;
  std::string script = "cd " + base + " && for f in $(seq 1 " + std::to_string(pieces.size()) +
                       "); do base64 -w0 $f; echo; done > out";
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    std::FILE* file = std::fopen((base + "/" + std::to_string(i + 1)).c_str(), "wb");
    if (file == nullptr) return {};
    std::fwrite(pieces[i].data(), 1, pieces[i].size(), file);
    std::fclose(file);
  }
  std::vector<std::string> lines;
  if (std::system(script.c_str()) == 0) {
    if (std::FILE* file = std::fopen((base + "/out").c_str(), "rb")) {
      std::string line;
      for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) {
        if (c == '\n') {
          lines.push_back(line);
          line.clear();
        } else {
          line += static_cast<char>(c);
        }
      }
      std::fclose(file);
    }
  }
  EXPECT_EQ(std::system(("rm -r " + base).c_str()), 0);
  return lines;
}

TEST(Base64, EncodesTheVectorsOfTheRfc) {
  const char* const rows[][2] = {{"", ""},
                                 {"f", "Zg=="},
                                 {"fo", "Zm8="},
                                 {"foo", "Zm9v"},
                                 {"foob", "Zm9vYg=="},
                                 {"fooba", "Zm9vYmE="},
                                 {"foobar", "Zm9vYmFy"}};
  for (const auto& row : rows) {
    EXPECT_EQ(Encode(row[0]), row[1]);
    EXPECT_EQ(Decode(row[1]), row[0]);
  }
}

TEST(Base64, DecodesUpToTheTerminatorForALengthOfMinusOne) {
  EXPECT_EQ(Bytes(tovkit::Base64Decode("Zm9vYmFy", -1)), "foobar");
  EXPECT_EQ(Bytes(tovkit::Base64Decode("Zm9v", 2)), "f");
  EXPECT_EQ(Bytes(tovkit::Base64Decode("", -1)), "");
}

TEST(Base64, MalformedTextEndsSilentlyAtTheFirstForeignCharacter) {
  const struct {
    const char* text;
    const char* bytes;
  } rows[] = {{"Zm9v\nYmFy", "foo"}, {"Zg==", "f"},        {"=Zm9v", ""},
              {"Zm9v=YmFy", "foo"},  {"Zm9v YmFy", "foo"}, {"Zm9vYm-y", "foob"},
              {"Zm9vYm_y", "foob"},  {"\xC3\xA9", ""},     {"Zm\xE9v", "f"}};
  for (const auto& row : rows) EXPECT_EQ(Bytes(tovkit::Base64Decode(row.text, -1)), row.bytes) << row.text;
}

TEST(Base64, AGroupCutShortDecodesToOneByteLessThanItHasCharacters) {
  const char* const rows[][2] = {{"Z", ""},         {"Zg", "f"},         {"Zm8", "fo"},
                                 {"Zm9vY", "foo"},  {"Zm9vYg", "foob"},  {"Zm9vYmE", "fooba"},
                                 {"Zm9vY=", "foo"}, {"Zm9vYg\n", "foob"}};
  for (const auto& row : rows) EXPECT_EQ(Decode(row[0]), row[1]) << row[0];
}

TEST(Base64, KeepsNulBytesAndTellsTheLength) {
  const CoreString data = tovkit::Base64Decode("AAAA", -1);
  EXPECT_EQ(Bytes(data), std::string(3, '\0'));
  EXPECT_EQ(Encode(std::string(4, '\0')), "AAAAAA==");
}

TEST(Base64, NullAndNegativeLengthsCountAsEmpty) {
  const unsigned char byte = 1;
  EXPECT_TRUE(tovkit::Base64Encode(nullptr, 3).IsEmpty());
  EXPECT_TRUE(tovkit::Base64Decode(nullptr, -1).IsEmpty());
  for (const int length : {0, -1, -2, INT_MIN}) {
    EXPECT_TRUE(tovkit::Base64Encode(&byte, length).IsEmpty()) << length;
  }
  for (const int length : {0, -2, -3, INT_MIN}) {
    EXPECT_TRUE(tovkit::Base64Decode("Zm9v", length).IsEmpty()) << length;
  }
}

TEST(Base64, ALengthWhoseResultACoreStringCannotHoldThrows) {
  const unsigned char byte = 1;
  EXPECT_THROW(tovkit::Base64Encode(&byte, INT_MAX), std::length_error);
  EXPECT_THROW(tovkit::Base64Encode(&byte, 1700000000), std::length_error);
}

TEST(Base64, EveryPairOfBytesComesBack) {
  std::string data(2, '\0');
  for (int pair = 0; pair < 0x10000; ++pair) {
    data[0] = static_cast<char>(pair >> 8);
    data[1] = static_cast<char>(pair);
    const std::string text = Encode(data);
    ASSERT_EQ(text.size(), 4U);
    ASSERT_EQ(Decode(text), data) << pair;
  }
}

TEST(Base64, AgreesWithCoreutilsForEveryPairOfBytesAndEveryLength) {
  std::mt19937 random(1);
  std::vector<std::string> pieces;
  for (std::size_t length = 0; length <= 300; ++length) pieces.push_back(RandomBytes(length, random));
  std::string pairs[3];  // every pair at every place of a group
  for (std::size_t shift = 0; shift < 3; ++shift) {
    pairs[shift].assign(shift, 'x');
    for (int pair = 0; pair < 0x10000; ++pair) {
      pairs[shift] += static_cast<char>(pair >> 8);
      pairs[shift] += static_cast<char>(pair);
      if (shift != 0) pairs[shift] += 'y';
    }
    pieces.push_back(pairs[shift]);
  }
  const std::vector<std::string> expected = EncodedByCoreutils(pieces);
  ASSERT_EQ(expected.size(), pieces.size());
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    ASSERT_EQ(Encode(pieces[i]), expected[i]) << pieces[i].size();
    ASSERT_EQ(Decode(expected[i]), pieces[i]) << pieces[i].size();
  }
}

TEST(Base64, EveryByteButTheAlphabetEndsTheTextAtEveryPlace) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const std::string data(150, 'q');
  const std::string whole = Encode(data);
  for (int byte = 0; byte < 256; ++byte) {
    if (alphabet.find(static_cast<char>(byte)) != std::string::npos) continue;
    for (std::size_t place = 0; place < whole.size(); ++place) {
      std::string text = whole;
      text[place] = static_cast<char>(byte);
      const std::size_t rest = place % 4;
      ASSERT_EQ(Decode(text), data.substr(0, place / 4 * 3 + (rest != 0 ? rest - 1 : 0)))
          << "byte " << byte << " at " << place;
    }
  }
}

TEST(Base64, RandomBytesOfALongTextComeBack) {
  std::mt19937 random(2);
  for (const std::size_t length : {4095U, 65536U, 1000003U}) {
    const std::string data = RandomBytes(length, random);
    ASSERT_EQ(Decode(Encode(data)), data);
  }
}

}  // namespace
