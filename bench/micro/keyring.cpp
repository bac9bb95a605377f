// The Secret Service keychain, as the module uses it, against bare libsecret: a delete and a store for a save, a lookup
// for a read, over one service object that stays. Needs a session bus with an unlocked keyring.
#include "AuthKeychainHelper.hpp"
#include "libsecret/SecretServiceKeychain.hpp"

#include <benchmark/benchmark.h>
#include <libsecret/secret.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

namespace {

using corvane::Data;

constexpr std::size_t sessionBytes = 2048;
const std::string session(sessionBytes, 's');

const SecretSchema schema = {"org.example.Bench",
                             SECRET_SCHEMA_NONE,
                             {{"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
                              {"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
                              {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                             0,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr};

void check(bool done, GError* error) {
  if (done && !error) return;
  std::fprintf(stderr, "bench-keyring: %s\n", error ? error->message : "failed");
  std::exit(1);
}

corvane::AuthKeychainHelper makeHelper() {
  return {"ada@example.com", {}, std::make_shared<corvane::SecretServiceKeychain>()};
}

void save(benchmark::State& state) {
  const auto helper = makeHelper();
  const auto data = corvane::dataFromText(session);
  helper.setPassword(data, "bench", std::nullopt);  // connects
  for (auto _ : state) helper.setPassword(data, "bench", std::nullopt);
}
BENCHMARK(save)->Name("a 2 KB session saved in the keyring/corvane")->UseRealTime();

void bareStore() {
  GError* error = nullptr;
  const bool stored =
      secret_password_store_sync(&schema, SECRET_COLLECTION_DEFAULT, "bench", session.c_str(), nullptr,
                                 &error, "account", "ada@example.com", "service", "bare", nullptr);
  check(stored, error);
}

void bareSave(benchmark::State& state) {
  bareStore();
  for (auto _ : state) {
    GError* error = nullptr;
    secret_password_clear_sync(&schema, nullptr, &error, "account", "ada@example.com", "service", "bare",
                               nullptr);
    check(true, error);
    bareStore();
  }
}
BENCHMARK(bareSave)->Name("a 2 KB session saved in the keyring/floor")->UseRealTime();

void read(benchmark::State& state) {
  const auto helper = makeHelper();
  helper.setPassword(corvane::dataFromText(session), "bench", std::nullopt);
  for (auto _ : state) benchmark::DoNotOptimize(helper.passwordData("bench"));
}
BENCHMARK(read)->Name("a 2 KB session read from the keyring/corvane")->UseRealTime();

void bareRead(benchmark::State& state) {
  bareStore();
  for (auto _ : state) {
    GError* error = nullptr;
    gchar* const found = secret_password_lookup_sync(&schema, nullptr, &error, "account", "ada@example.com",
                                                     "service", "bare", nullptr);
    check(found, error);
    secret_password_free(found);
  }
}
BENCHMARK(bareRead)->Name("a 2 KB session read from the keyring/floor")->UseRealTime();

}  // namespace
