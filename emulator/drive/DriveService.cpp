#include "drive/DriveService.hpp"

#include <array>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

#include "drive/PageToken.hpp"
#include "server/Gzip.hpp"

namespace corvane::emulator {
namespace {

constexpr std::string_view scopePrefix = "https://www.googleapis.com/auth/";

/// The Drive scopes, without their common prefix, that allow an operation (Drive reference, per method).
std::set<std::string_view> scopesFor(std::string_view operation) {
  if (operation == "files.delete") return {"drive", "drive.appdata", "drive.file"};
  if (operation == "files.update") return {"drive", "drive.appdata", "drive.file", "drive.metadata"};
  return {"drive",          "drive.appdata",           "drive.file",
          "drive.metadata", "drive.metadata.readonly", "drive.photos.readonly",
          "drive.readonly"};
}

bool seesAllFiles(std::string_view scope) {
  return scope == "drive" || scope == "drive.readonly" || scope == "drive.metadata" ||
         scope == "drive.metadata.readonly";
}

std::int64_t planFor(std::int64_t usage) {
  constexpr std::int64_t gibibyte = 1 << 30;
  std::int64_t plan = 15 * gibibyte;
  for (const std::int64_t size : {100, 200, 2048, 5120, 30720}) {
    if (plan > usage) break;
    plan = size * gibibyte;
  }
  return plan;
}

/// What a page token is bound to: everything but itself.
std::string pageContext(const std::string& email, const Parameters& parameters) {
  std::set<std::string> sorted;
  for (const auto& [name, value] : parameters.all()) {
    if (name != "pageToken") sorted.insert(name + "=" + value);
  }
  std::string text = email;
  for (const auto& entry : sorted) text.append("\n").append(entry);
  return text;
}

void checkListParameters(const DriveParameters& parameters) {
  const auto corpora = parameters.find("corpora").value_or("user");
  if (corpora != "user" && corpora != "allDrives") {
    throw DriveError::invalidParameter("corpora", "Invalid value '" + std::string(corpora) + "'");
  }
  const bool everywhere = parameters.flag("includeItemsFromAllDrives");
  if (corpora == "allDrives" && !everywhere) {
    throw DriveError::invalidParameter("includeItemsFromAllDrives", "corpora=allDrives needs it to be true");
  }
  if (everywhere && !parameters.flag("supportsAllDrives")) {
    throw DriveError::invalidParameter("supportsAllDrives", "includeItemsFromAllDrives needs it to be true");
  }
  if (parameters.find("spaces").value_or("drive") != "drive") {
    throw DriveError::invalidParameter("spaces", "Only spaces=drive is served");
  }
}

FileQuery queryOf(const DriveParameters& parameters) {
  const auto text = parameters.find("q");
  if (!text) return {};
  const auto query = FileQuery::parse(*text);
  if (!query) {
    throw DriveError{.code = 400,
                     .reason = "invalid",
                     .message = "Invalid Value",
                     .locationType = "parameter",
                     .location = "q"};
  }
  return *query;
}

/// The one change served: `{"trashed": true|false}`.
bool trashedFrom(const Request& request) {
  const auto type = request.header("Content-Type");
  if (type.substr(0, type.find(';')) != "application/json") {
    throw DriveError::badRequest("A change must have Content-Type: application/json");
  }
  const auto body = nlohmann::json::parse(request.body, nullptr, false);
  if (!body.is_object()) throw DriveError{.code = 400, .reason = "parseError", .message = "Parse Error"};
  if (body.size() != 1 || !body.contains("trashed") || !body["trashed"].is_boolean()) {
    throw DriveError::badRequest("Only the member 'trashed', true or false, can be changed");
  }
  return body["trashed"].get<bool>();
}

Response jsonAnswer(std::string text) {
  return {.headers = {{"Content-Type", "application/json; charset=UTF-8"},
                      {"Cache-Control", "no-cache, no-store, max-age=0, must-revalidate"},
                      {"Vary", "Origin, X-Origin"}},
          .body = std::make_shared<const std::string>(std::move(text))};
}

}  // namespace

DriveService::Drive::Drive(const Account& accountOf, const Options& options)
    : account(accountOf), user(accountOf), files(accountOf, options.seed, options.missingCreatedTimeEvery) {}

DriveService::DriveService(const Options& options, Grants& grants)
    : seed_(options.seed), grants_(grants), cache_(options.cacheBytes) {
  for (const auto& account : options.accounts) {
    drives_.emplace(std::piecewise_construct, std::forward_as_tuple(account.email),
                    std::forward_as_tuple(account, options));
  }
}

Response DriveService::handle(std::string_view operation, const Request& request) {
  const std::lock_guard lock(mutex_);
  const bool pretty = request.query().find("prettyPrint=false") == std::string_view::npos;
  try {
    return perform(operation, authorize(operation, request));
  } catch (const DriveError& error) {
    return error.response(pretty);
  }
}

DriveService::Call DriveService::authorize(std::string_view operation, const Request& request) {
  if (request.header("Authorization").empty()) throw DriveError::loginRequired();
  const auto access = grants_.access(request.bearer());
  const auto found = access ? drives_.find(access->email) : drives_.end();
  if (found == drives_.end()) throw DriveError::invalidCredentials();
  const auto allowed = scopesFor(operation);
  bool sufficient = false;
  bool seesAll = false;
  for (const auto& scope : access->scopes) {
    if (!scope.starts_with(scopePrefix)) continue;
    const auto name = std::string_view(scope).substr(scopePrefix.size());
    sufficient = sufficient || allowed.contains(name);
    seesAll = seesAll || seesAllFiles(name);
  }
  if (!sufficient) throw DriveError::insufficientScope();
  return {request, found->second, seesAll};
}

Response DriveService::perform(std::string_view operation, const Call& call) {
  if (operation != "files.update" && !call.request.body.empty()) {
    throw DriveError::badRequest("This method takes no body");
  }
  if (operation == "about") return about(call);
  if (operation == "files.list") return list(call);
  if (operation == "files.get") return get(call);
  if (operation == "files.update") return update(call);
  return remove(call);
}

Response DriveService::about(const Call& call) {
  const DriveParameters parameters(call.request, {});
  if (!parameters.find("fields")) {
    throw DriveError{.code = 400,
                     .reason = "required",
                     .message = "The 'fields' parameter is required for this method.",
                     .locationType = "parameter",
                     .location = "fields"};
  }
  const auto mask = parameters.fields(aboutSchema(), "*");
  JSONWriter writer(parameters.pretty(), mask);
  writer.beginObject();
  writer.string("kind", "drive#about");
  if (writer.beginObject("user")) {
    writeUser(writer, call.drive.user, true);
    writer.endObject();
  }
  writeQuota(writer, call.drive);
  writer.int64("maxUploadSize", 5'242'880'000'000);
  if (writer.beginObject("importFormats")) {
    if (writer.beginArray("text/html")) {
      writer.element("application/vnd.google-apps.document");
      writer.endArray();
    }
    writer.endObject();
  }
  if (writer.beginObject("exportFormats")) writer.endObject();
  if (writer.beginObject("maxImportSizes")) {
    writer.int64("application/vnd.google-apps.document", 10'485'760);
    writer.endObject();
  }
  writer.boolean("appInstalled", false);
  if (writer.beginArray("folderColorPalette")) {
    writer.element("#ac725e");
    writer.element("#d06b64");
    writer.endArray();
  }
  if (writer.beginArray("driveThemes")) writer.endArray();
  writer.boolean("canCreateDrives", true);
  writer.endObject();
  return jsonAnswer(writer.take());
}

void DriveService::writeQuota(JSONWriter& writer, Drive& drive) {
  if (!writer.beginObject("storageQuota")) return;
  if (!drive.usage) drive.usage.emplace(drive.files.usage(false), drive.files.usage(true));
  const auto [used, inTrash] = *drive.usage;
  // Mail and photos use storage too.
  const std::int64_t elsewhere = 123'456'789;
  const auto usage = used + elsewhere;
  if (!drive.account.unlimitedStorage) {
    writer.int64("limit", drive.account.storageLimit.value_or(planFor(usage)));
  }
  writer.int64("usage", usage);
  writer.int64("usageInDrive", used);
  writer.int64("usageInDriveTrash", inTrash);
  writer.endObject();
}

Response DriveService::list(const Call& call) {
  const bool gzip = call.request.acceptsGzip();
  const std::string key =
      call.drive.account.email + (gzip ? "\nz" : "\n-") + (call.seesAll ? "a" : "o") + call.request.target;
  if (auto cached = cache_.find(key)) return std::move(*cached);
  const DriveParameters parameters(call.request, {"pageSize", "pageToken", "q", "corpora", "spaces",
                                                  "supportsAllDrives", "includeItemsFromAllDrives"});
  checkListParameters(parameters);
  auto answer = jsonAnswer(renderPage(call, parameters));
  if (gzip) {
    answer.body = std::make_shared<const std::string>(gzipped(*answer.body));
    answer.gzipped = true;
  }
  cache_.store(key, answer);
  return answer;
}

std::string DriveService::renderPage(const Call& call, const DriveParameters& parameters) {
  const auto& files = call.drive.files;
  const auto query = queryOf(parameters);
  const auto mask =
      parameters.fields(listSchema(), "kind,nextPageToken,incompleteSearch,files(kind,id,name,mimeType)");
  const PageToken token(seed_, pageContext(call.drive.account.email, parameters.all()));
  std::uint64_t position = 0;
  if (const auto text = parameters.find("pageToken")) {
    const auto read = token.read(*text);
    if (!read) throw DriveError::invalidParameter("pageToken", "Invalid Value");
    position = *read;
  }
  if (!call.seesAll) position = files.size();

  const auto next = [&](std::uint64_t index) {
    while (index < files.size() && !files.matches(index, query)) ++index;
    return index;
  };
  JSONWriter writer(parameters.pretty(), mask);
  writer.beginObject();
  writer.string("kind", "drive#fileList");
  writer.boolean("incompleteSearch", false);
  const bool shown = writer.beginArray("files");
  const auto pageSize = parameters.pageSize();
  position = next(position);
  for (std::size_t count = 0; count < pageSize && position < files.size(); ++count) {
    if (shown) {
      writer.beginObject();
      writeFile(writer, files.facts(position), files, call.drive.user);
      writer.endObject();
    }
    position = next(position + 1);
  }
  if (shown) writer.endArray();
  if (position < files.size()) writer.string("nextPageToken", token.write(position));
  writer.endObject();
  return writer.take();
}

std::uint64_t DriveService::target(const Call& call) const {
  const auto path = call.request.path();
  const auto id = percentDecoded(path.substr(path.rfind('/') + 1), false);
  const auto index = id && call.seesAll ? call.drive.files.find(*id) : std::nullopt;
  if (!index) throw DriveError::notFound(id.value_or(""));
  return *index;
}

std::string DriveService::renderFile(const Call& call, const DriveParameters& parameters,
                                     std::uint64_t index) {
  const auto mask = parameters.fields(fileSchema(), "kind,id,name,mimeType");
  JSONWriter writer(parameters.pretty(), mask);
  writer.beginObject();
  writeFile(writer, call.drive.files.facts(index), call.drive.files, call.drive.user);
  writer.endObject();
  return writer.take();
}

Response DriveService::get(const Call& call) {
  const DriveParameters parameters(call.request,
                                   {"supportsAllDrives", "supportsTeamDrives", "acknowledgeAbuse"});
  return jsonAnswer(renderFile(call, parameters, target(call)));
}

Response DriveService::update(const Call& call) {
  const DriveParameters parameters(call.request, {"supportsAllDrives", "supportsTeamDrives"});
  const bool trashed = trashedFrom(call.request);
  const auto index = target(call);
  parameters.fields(fileSchema(), "*");  // refused before anything is changed
  auto& files = call.drive.files;
  if (!files.isOwned(index)) throw DriveError::insufficientFilePermissions();
  files.setTrashed(index, trashed);
  call.drive.usage.reset();
  cache_.clear();
  return jsonAnswer(renderFile(call, parameters, index));
}

Response DriveService::remove(const Call& call) {
  const DriveParameters parameters(call.request, {"supportsAllDrives", "supportsTeamDrives"});
  const auto index = target(call);
  auto& files = call.drive.files;
  if (!files.isOwned(index)) throw DriveError::insufficientFilePermissions();
  files.remove(index);
  call.drive.usage.reset();
  cache_.clear();
  return {.status = 204};
}

const DriveService::Drive& DriveService::drive(const std::string& email) const {
  const auto found = drives_.find(email);
  if (found == drives_.end()) throw std::invalid_argument("no account " + email);
  return found->second;
}

std::uint64_t DriveService::count(const std::string& email, const FileQuery& query) const {
  const std::lock_guard lock(mutex_);
  return drive(email).files.count(query);
}

std::string DriveService::fileID(const std::string& email, std::uint64_t index) const {
  const std::lock_guard lock(mutex_);
  return drive(email).files.id(index);
}

}  // namespace corvane::emulator
