#pragma once

#include "Usage.hpp"

#include <malloc.h>

#include <cstddef>
#include <cstdio>

namespace bench {

/// What malloc has handed out and not got back, in bytes, over all threads.
inline double heapInUse() {
  const auto info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

/// How a client is measured that makes small requests.
struct OperationCounts {
  std::size_t requests = 0;  // over one connection, after the first one
  std::size_t further = 0;   // clients of their own, each with one request over a connection of its own
};

/// Measures a client and prints what one operation costs: the first of the process, of many over one connection, and
/// the first of each further client.
///
/// `request()` makes one request and waits for it, `requestOfAnotherClient()` does so with a client made for it.
template <class Request, class AnotherClient>
void measureOperations(OperationCounts counts, const Usage& start, Request request,
                       AnotherClient requestOfAnotherClient) {
  request();
  const Usage first = Usage::now();

  for (std::size_t i = 0; i < counts.requests / 10; ++i) request();
  const double heap = heapInUse();
  const Usage begin = Usage::now();
  for (std::size_t i = 0; i < counts.requests; ++i) request();
  const Usage end = Usage::now();
  const double growth = heapInUse() - heap;

  if (counts.further) requestOfAnotherClient();
  const Usage beginFurther = Usage::now();
  for (std::size_t i = 0; i < counts.further; ++i) requestOfAnotherClient();
  const Usage endFurther = Usage::now();

  const auto each = [](double from, double to, std::size_t count) {
    return count ? (to - from) * 1000 / static_cast<double>(count) : 0;
  };
  std::printf(
      R"({"process": %.3f, "first_cpu": %.3f, "first_wall": %.3f, "cpu": %.3f, "wall": %.3f, "growth": %.0f, )"
      R"("further_cpu": %.3f, "further_wall": %.3f})"
      "\n",
      first.cpu, first.cpu - start.cpu, first.wall - start.wall, each(begin.cpu, end.cpu, counts.requests),
      each(begin.wall, end.wall, counts.requests), growth,
      each(beginFurther.cpu, endFurther.cpu, counts.further),
      each(beginFurther.wall, endFurther.wall, counts.further));
}

}  // namespace bench
