#pragma once

#include <CorvanePlatform/DriveService.hpp>
#include <CorvanePlatform/JSON.hpp>
#include <CorvanePlatform/Keychain.hpp>
#include <CorvanePlatform/Lumark.hpp>
#include <CorvanePlatform/Queue.hpp>
#include <CorvanePlatform/SessionArchive.hpp>
#include <CorvanePlatform/SignInService.hpp>

#include <memory>

namespace corvane {

/// The pieces of the platform that the module is built on. All of them are needed; each is used from any
/// thread.
///
/// A plain value of shared references: change a member to bring a piece of your own, for instance a log or,
/// in a test, a keychain.
struct Platform {
  std::shared_ptr<Keychain> keychain;
  std::shared_ptr<const SessionArchive> sessionArchive;
  DriveServiceMaker makeDriveService;
  SignInServiceMaker makeSignInService;
  std::shared_ptr<Lumark> log;
  /// The shared concurrent queue of user-initiated quality of service.
  std::shared_ptr<Queue> userInitiatedQueue;
  /// The shared pool that unstructured tasks run on.
  std::shared_ptr<Queue> taskPool;
  std::shared_ptr<const JSON> json;
};

/// The platform of the system this program runs on, supplied by the linked platform library. One is shared
/// per process while anything made from it lives. Touches no file, thread or bus until an operation needs it.
Platform systemPlatform();

}  // namespace corvane
