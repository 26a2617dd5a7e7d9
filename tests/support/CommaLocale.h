#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <fstream>
#include <iomanip>

#include "tests/support/TemporaryFolder.h"

namespace orvane::test {

/// Makes the comma the process's decimal point while it lives, by a locale built for it: none needs to be installed.
class CommaLocale {
 public:
  CommaLocale() {
    std::ofstream source(mFolder.file("source"));
    source << "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \"\"\nEND LC_NUMERIC\n" << std::flush;
    std::ofstream characters(mFolder.file("characters"));
    characters << "<code_set_name> ASCII\n<escape_char> /\nCHARMAP\n" << std::hex << std::setfill('0');
    for (int code = 0; code < 128; ++code)
      characters << "<U" << std::setw(4) << code << "> /x" << std::setw(2) << code << '\n';
    characters << "END CHARMAP\n" << std::flush;
    // The status is a failure, for the source has no other category; the decimal point tells whether it worked.
    const std::string folder = mFolder.path().string();
    const std::string build = "cd " + folder + " && localedef -c -i source -f ./characters ./comma >log 2>&1";
    [[maybe_unused]] const int status = std::system(build.c_str());
    setenv("LOCPATH", folder.c_str(), 1);
    std::setlocale(LC_NUMERIC, "comma");
    EXPECT_STREQ(std::localeconv()->decimal_point, ",") << "localedef built no locale";
  }
  ~CommaLocale() {
    std::setlocale(LC_NUMERIC, "C");
    unsetenv("LOCPATH");
  }
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;

 private:
  const TemporaryFolder mFolder;
};

}  // namespace orvane::test
