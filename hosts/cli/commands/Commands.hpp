#pragma once

#include "../Context.hpp"
#include "../ExitCode.hpp"

namespace corvane::cli {

// One overload per command, chosen by its options. Each throws a Failure, Interrupted or OutputClosed when it cannot
// do its work.
ExitCode run(const Context& context, const SignInOptions& options);
ExitCode run(const Context& context, const AccountsOptions& options);
ExitCode run(const Context& context, const StatusOptions& options);
ExitCode run(const Context& context, const AboutOptions& options);
ExitCode run(const Context& context, const LsOptions& options);
ExitCode run(const Context& context, const TrashOptions& options);
ExitCode run(const Context& context, const RmOptions& options);
ExitCode run(const Context& context, const SignOutOptions& options);

}  // namespace corvane::cli
