#include "AboutPage.hpp"

#include "Escape.hpp"
#include "QuotaBar.hpp"
#include "ReadableSize.hpp"
#include "Table.hpp"

namespace corvane::cli {
namespace {

std::string usageText(const StorageQuota& quota) {
  std::string text = readableSize(quota.usage) + " of " + readableSize(quota.limit) + " used, ";
  if (quota.usage <= quota.limit) return text + readableSize(quota.limit - quota.usage) + " free";
  return text + readableSize(quota.usage - quota.limit) + " over the limit";
}

}  // namespace

std::string aboutPage(const About& about, const Style& style) {
  std::string page;
  const auto line = [&](const std::string& label, const std::string& text) {
    page += style.bold(aligned(label, 10, Table::Align::left)) + text + "\n";
  };
  const StorageQuota& quota = about.storageQuota;
  line("Account", escapedName(about.user.displayName) + " <" + escapedName(about.user.emailAddress) + ">");
  const std::string bar = quotaBar(quota.usage, quota.limit, style);
  if (!bar.empty()) line("Storage", bar);
  line(bar.empty() ? "Storage" : "", usageText(quota));
  line("", readableSize(quota.usageInDrive) + " of it in Drive");
  line("Uploads", "up to " + readableSize(about.maxUploadSize) + " per file");
  line("App", about.appInstalled ? "installed" : "not installed");
  return page;
}

}  // namespace corvane::cli
