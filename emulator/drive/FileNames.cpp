#include "drive/FileNames.hpp"

#include <array>
#include <string_view>

namespace corvane::emulator {
namespace {

using namespace std::string_view_literals;

constexpr std::array everydayNames = {
    "Meeting notes"sv,    "Budget"sv,    "Holiday photo"sv, "Invoice"sv,  "Draft"sv,
    "Travel plan"sv,      "Recipe"sv,    "Lecture"sv,       "Contract"sv, "Garden sketch"sv,
    "Quarterly report"sv, "Übersicht"sv, "Résumé"sv,        "議事録"sv,   "Отчёт"sv,
    "Measurement"sv};

constexpr std::array awkwardNames = {"annual\u202Efdp.exe"sv,  // right-to-left override
                                     "two\nlines"sv,
                                     "carriage\rreturn"sv,
                                     "tab\tbed"sv,
                                     "nul\0inside"sv,
                                     "bell\x07 and escape \x1b[31mred\x1b[0m"sv,
                                     "delete\x7f key"sv,
                                     "\"double\" and 'single' quotes"sv,
                                     "back\\slash \\u0041 \\n"sv,
                                     "slash/in/the/name"sv,
                                     "../../etc/passwd"sv,
                                     "emoji 👩‍👩‍👧‍👦 🏳️‍🌈 ☁️"sv,
                                     "Cafe\u0301 (combining)"sv,
                                     "Caf\u00E9 (composed)"sv,
                                     "Z\u0351\u036B\u0343a\u0321\u034El\u0348\u0353g\u0327o\u032F"sv,
                                     "مرحبا بالعالم.pdf"sv,
                                     "שלום עולם.txt"sv,
                                     "日本語のとても長いファイル名.docx"sv,
                                     " leading and trailing spaces "sv,
                                     "zero\u200Bwidth\uFEFF"sv,
                                     "line\u2028separator\u2029paragraph"sv,
                                     "<script>alert('x')</script>"sv,
                                     "$(touch pwned); `id` %s %n"sv,
                                     "-rf --no-preserve-root"sv,
                                     "c1\u0085control\u009B31m"sv,
                                     "🂡\U0010FFFD plane sixteen"sv,
                                     "."sv,
                                     " "sv};

std::string veryLongName() {
  std::string name;
  while (name.size() < 1024) name += "very long name \U0001F40D ";
  return name;
}

}  // namespace

std::string fileName(std::uint64_t index, std::uint64_t hash, std::string_view extension) {
  if (index % 7 == 3) {
    const auto which = index / 7 % (awkwardNames.size() + 1);
    return which < awkwardNames.size() ? std::string(awkwardNames[which]) : veryLongName();
  }
  std::string name(everydayNames[hash % everydayNames.size()]);
  // Names are not unique in Drive: a few files go without their number.
  if (hash % 29 != 0) name += " " + std::to_string(index);
  if (!extension.empty()) name.append(".").append(extension);
  return name;
}

}  // namespace corvane::emulator
