#pragma once

namespace corvane::test {

/// While it lives, the system's look-up of any name below "stuck.test" hangs, as it does behind a dead name server.
/// At most one at a time. Other names are looked up as ever.
class StuckResolver {
 public:
  StuckResolver();
  /// Lets them go, and waits until they have returned.
  ~StuckResolver();
  StuckResolver(const StuckResolver&) = delete;
  StuckResolver& operator=(const StuckResolver&) = delete;

  void waitForLookups(int count) const;
};

}  // namespace corvane::test
