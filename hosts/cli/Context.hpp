#pragma once

#include "Interrupt.hpp"
#include "ObservedKeychain.hpp"
#include "Options.hpp"
#include "TerminalPresenter.hpp"
#include "present/Output.hpp"
#include "present/Style.hpp"

#include <Corvane/CorvaneFactoryType.hpp>
#include <CorvanePlatform/Platform.hpp>

#include <string_view>

namespace corvane::cli {

struct Failure;

/// What a command works with, put together in main().
struct Context {
  const GlobalOptions& options;
  CorvaneFactoryType& factory;
  const Platform& platform;
  ObservedKeychain& keychain;
  TerminalPresenter& presenter;
  Interrupt& interrupt;
  Output& out;
  Style style;       // for standard output
  Style errorStyle;  // for standard error

  /// A remark for people, on standard error; programs are spared it.
  void note(std::string_view text) const;
  /// The failure with the reason that the keychain itself told, which says more than its status.
  Failure explained(Failure failure) const;
  /// Tells a failure on standard error, for people or for programs.
  void report(const Failure& failure) const;
};

}  // namespace corvane::cli
