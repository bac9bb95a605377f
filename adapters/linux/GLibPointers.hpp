#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>
#include <vector>

namespace corvane {

// Owners of what GLib hands out.

struct GObjectUnref {
  void operator()(gpointer object) const noexcept { g_object_unref(object); }
};
template <class Object>
using GObjectPointer = std::unique_ptr<Object, GObjectUnref>;

struct GVariantUnref {
  void operator()(GVariant* variant) const noexcept { g_variant_unref(variant); }
};
using GVariantPointer = std::unique_ptr<GVariant, GVariantUnref>;

struct GHashTableUnref {
  void operator()(GHashTable* table) const noexcept { g_hash_table_unref(table); }
};
using GHashTablePointer = std::unique_ptr<GHashTable, GHashTableUnref>;

struct GFree {
  void operator()(gpointer memory) const noexcept { g_free(memory); }
};
using GTextPointer = std::unique_ptr<char, GFree>;

struct GErrorFree {
  void operator()(GError* error) const noexcept { g_error_free(error); }
};
using GErrorPointer = std::unique_ptr<GError, GErrorFree>;

/// The texts of a null-terminated list, which is freed.
inline std::vector<std::string> takeTexts(char** list) {
  std::vector<std::string> texts;
  for (char** text = list; text && *text; ++text) texts.emplace_back(*text);
  g_strfreev(list);
  return texts;
}

}  // namespace corvane
