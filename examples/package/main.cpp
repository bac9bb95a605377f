// Tells who is signed in.
#include <Corvane/Corvane.hpp>

#include <iostream>

int main() {
  using namespace corvane;
  CorvaneFactory factory(std::nullopt, "com.example.signed-in", "", [] { return WindowHandle::terminal(); });
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
