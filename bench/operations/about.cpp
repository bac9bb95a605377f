// Usage: bench-about URL CA-FILE EMAIL REQUESTS FURTHER-OBJECTS
// about.get through the public API, one request after the other.
#include "Operations.hpp"
#include "SignedIn.hpp"

#include <exception>

int main(int count, char** arguments) {
  const auto start = bench::Usage::now();
  if (count != 6) {
    std::fputs("usage: bench-about URL CA-FILE EMAIL REQUESTS FURTHER-OBJECTS\n", stderr);
    return 2;
  }
  try {
    bench::SignedIn host(arguments[1], arguments[2]);
    const std::string email = arguments[3];
    const auto api = host.makeAPI(email);
    bench::measureOperations(
        {std::stoul(arguments[4]), std::stoul(arguments[5])}, start, [&] { corvane::get(api->getAbout()); },
        [&] { corvane::get(host.makeAPI(email)->getAbout()); });
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench-about: %s\n", error.what());
    return 1;
  }
  return 0;
}
