// Tells who is signed in, by the encrypted keychain file, as it may run where there is no desktop.
#include <Corvane/Corvane.hpp>
#include <CorvaneLinux/LinuxPlatform.hpp>

#include <iostream>

int main() {
  using namespace corvane;
  LinuxPlatformOptions options;
  options.keychainBackend = KeychainBackend::encryptedFile;
  CorvaneFactory factory(
      std::nullopt, "com.example.signed-in", "", [] { return WindowHandle::terminal(); },
      makeLinuxPlatform(options));
  try {
    for (const auto& account : get(factory.makeAccountProvider()->getAccounts()))
      std::cout << account.userEmail() << '\n';
  } catch (const AnyError& error) {
    if (errorKind(error) != ErrorKind::notSignedIn) {
      std::cerr << error.what() << '\n';
      return 1;
    }
    std::cout << "Nobody is signed in.\n";
  }
}
