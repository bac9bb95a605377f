// Lists a user's files: signs in first if nobody is signed in yet.
//   list_files credentials.json
#include <Corvane/Corvane.hpp>

#include <fstream>
#include <iostream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <vector>

using namespace corvane;

namespace {

std::optional<Data> readFile(const char* path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  return dataFromText(std::string(std::istreambuf_iterator<char>(file), {}));
}

std::vector<GoogleDriveAccountModel> storedAccounts(CorvaneFactory& factory) {
  try {
    return get(factory.makeAccountProvider()->getAccounts());
  } catch (const AnyError& error) {
    if (errorKind(error) != ErrorKind::notSignedIn) throw;
    return {};
  }
}

GoogleDriveAccountModel account(CorvaneFactory& factory) {
  const auto accounts = storedAccounts(factory);
  // The list may be empty, too: the keychain can hold items that name no account.
  return accounts.empty() ? get(factory.makeAuthorizationProvider(nullptr)->signIn())
                          : accounts.front();
}

}  // namespace

int main(int argc, char** argv) try {
  CorvaneFactory factory(argc > 1 ? readFile(argv[1]) : std::nullopt, "com.example.app", "",
                         [] { return WindowHandle::terminal(); });

  auto drive = factory.makeAPI(account(factory));

  const About about = get(drive->getAbout());
  std::cout << about.user.displayName << ": " << about.storageQuota.usage << " bytes used\n";

  std::optional<std::string> token;
  std::set<std::string> seen;  // a server that repeats a token would have this go on for ever
  do {
    const FilesPage page = get(drive->getFilesPage(token));
    for (const File& file : page.files()) std::cout << file.id << ' ' << file.name << '\n';
    token = page.nextPageToken();
    if (token && !seen.insert(*token).second) throw std::runtime_error("the server repeated a page token");
  } while (token);
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
