#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "contract/publishers/PublisherContract.hpp"
#include "unit/core/DriveRig.hpp"
#include "unit/core/SignInRig.hpp"

// The module's seven operations, each ended in every way there is.
namespace corvane::test {

template <class Value>
std::vector<PublisherCase> driveCases(const std::string& name,
                                      std::function<AnyPublisher<Value>(GoogleDriveAPIType&)> operation,
                                      GTLRObject answer) {
  const auto caseOf = [&](const std::string& how, bool succeeds,
                          std::function<void(FakeDriveService&, std::size_t)> end) {
    return PublisherCase{name + how, succeeds, [operation, end = std::move(end)] {
                           const auto rig = std::make_shared<DriveRig>();
                           return rigOver(operation(*rig->api), [rig, end] {
                             rig->run();
                             if (rig->fake.driveServices.empty()) return;
                             for (std::size_t i = 0; i < rig->service().requestCount(); ++i)
                               end(rig->service(), i);
                             rig->run();
                           });
                         }};
  };
  return {
      caseOf("Succeeding", true, [answer](FakeDriveService& s, std::size_t i) { s.answer(i, answer); }),
      caseOf("Failing", false, [](FakeDriveService& s, std::size_t i) { s.fail(i, driveError(404)); }),
      caseOf("LetGo", false,
             [](FakeDriveService& s, std::size_t i) { s.requests().at(i).ticket->release(); }),
  };
}

inline PublisherCase signInCase(const std::string& how, bool succeeds,
                                std::function<void(FakeSignInService&)> end) {
  return {"SignIn" + how, succeeds, [end = std::move(end)] {
            const auto rig = std::make_shared<SignInRig>();
            return rigOver(rig->provider->signIn(), [rig, end] {
              for (const auto& service : rig->fake.signInServices.made) end(*service);
            });
          }};
}

/// Work on the task pool, over a keychain that the case prepares.
template <class Value>
PublisherCase poolCase(std::string name, bool succeeds, std::function<void(FakeKeychain&)> prepare,
                       std::function<AnyPublisher<Value>(DriveRig&)> operation) {
  return {std::move(name), succeeds, [prepare = std::move(prepare), operation = std::move(operation)] {
            const auto rig = std::make_shared<DriveRig>();
            prepare(*rig->fake.keychain);
            return rigOver(operation(*rig), [rig] { rig->fake.taskPool->runAll(); });
          }};
}

inline std::vector<PublisherCase> operationCases() {
  std::vector<PublisherCase> cases;
  const auto add = [&cases](const std::vector<PublisherCase>& more) {
    cases.insert(cases.end(), more.begin(), more.end());
  };

  add(driveCases<About>(
      "GetAbout", [](auto& api) { return api.getAbout(); }, aboutObject()));
  add(driveCases<FilesPage>(
      "GetFilesPage", [](auto& api) { return api.getFilesPage("token"); }, fileList({fileObject("id")})));
  add(driveCases<Void>(
      "DeleteFile", [](auto& api) { return api.deleteFile("id"); }, std::monostate{}));
  add(driveCases<Void>(
      "MoveToTrash", [](auto& api) { return api.moveToTrash("id"); }, fileObject("id")));

  const auto session = std::make_shared<FakeSession>("ada@example.com");
  add({signInCase("Succeeding", true,
                  [session](FakeSignInService& service) { service.finish(session, std::nullopt); }),
       signInCase("Failing", false,
                  [](FakeSignInService& service) { service.finish(nullptr, NSError("D", 1)); }),
       signInCase("LetGo", false, [](FakeSignInService& service) { service.dropHandler(); })});

  using Operation = FakeKeychain::Operation;
  const auto asItIs = [](FakeKeychain&) {};
  const auto refusing = [](FakeKeychain& keychain) {
    keychain.failNext(Operation::copyMatching, -25308, 9);
    keychain.failNext(Operation::remove, -25308, 9);
  };
  const std::function<AnyPublisher<std::vector<GoogleDriveAccountModel>>(DriveRig&)> list =
      [](DriveRig& rig) { return rig.factory.makeAccountProvider()->getAccounts(); };
  const std::function<AnyPublisher<Void>(DriveRig&)> signOut = [](DriveRig& rig) {
    return rig.factory.makeAuthorizationProvider(nullptr)->signOut(
        GoogleDriveAccountModel("ada@example.com"));
  };
  // One session can be removed only once, and here several subscribers remove it.
  const auto everyTime = [](FakeKeychain& keychain) {
    keychain.failNext(Operation::remove, errSecSuccess, 9);
  };
  add({poolCase("GetAccountsSucceeding", true, asItIs, list),
       poolCase("GetAccountsFailing", false, refusing, list),
       poolCase("SignOutSucceeding", true, everyTime, signOut),
       poolCase("SignOutFailing", false, refusing, signOut)});
  return cases;
}

}  // namespace corvane::test
