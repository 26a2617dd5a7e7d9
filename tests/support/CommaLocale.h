#pragma once

#include <gtest/gtest.h>

#include <array>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace orvane::test {

/// Makes the comma the process's decimal point while it lives, by a locale built for it: none needs to be installed.
class CommaLocale {
 public:
  CommaLocale() {
    std::string name = "/tmp/orvane-locale-XXXXXX";
    mFolder = mkdtemp(name.data());
    {
      std::ofstream characters(mFolder / "characters");
      characters << "<code_set_name> ASCII\n<escape_char> /\nCHARMAP\n";
      std::array<char, 32> line{};
      for (int code = 0; code < 128; ++code) {
        std::snprintf(line.data(), line.size(), "<U%04X> /x%02x\n", code, code);
        characters << line.data();
      }
      characters << "END CHARMAP\n";
      std::ofstream(mFolder / "source") << "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \"\"\nEND LC_NUMERIC\n";
    }
    // The status is a failure, for the source has no other category; the decimal point tells whether it worked.
    const std::string build = "cd " + name + " && localedef -c -i source -f ./characters ./comma >log 2>&1";
    [[maybe_unused]] const int status = std::system(build.c_str());
    setenv("LOCPATH", name.c_str(), 1);
    std::setlocale(LC_NUMERIC, "comma");
    EXPECT_STREQ(std::localeconv()->decimal_point, ",") << "localedef built no locale";
  }
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;
  ~CommaLocale() {
    std::setlocale(LC_NUMERIC, "C");
    unsetenv("LOCPATH");
    std::filesystem::remove_all(mFolder);
  }

 private:
  std::filesystem::path mFolder;
};

}  // namespace orvane::test
