#!/bin/sh
# Who may include whom (docs/architecture.md). Prints what breaks a rule, and fails if anything does.
set -eu
cd "$1"
failed=0

# check FOLDER PATTERN WHY: no include line of a source in FOLDER may match PATTERN.
check() {
  found=$(grep -rnE --include='*.hpp' --include='*.cpp' "^#include $2" $1 || true)
  [ -z "$found" ] || { printf '%s\n%s\n\n' "$3" "$found"; failed=1; }
}

# Not a standard header, and neither the vocabulary nor the platform interfaces.
foreign='<([^>]*/[^>]*|[^>]*\.h(pp)?)>'
check_standard_only() {
  found=$(grep -rnE --include='*.hpp' --include='*.cpp' "^#include $foreign" "$1" |
    grep -vE '<(Corvane|CorvanePlatform)/[A-Za-z]+\.hpp>' || true)
  [ -z "$found" ] || { printf '%s\n%s\n\n' "$1 uses the standard library only:" "$found"; failed=1; }
}

check_standard_only include
check_standard_only platform
check_standard_only Corvane
vocabulary='(AnyCancellable|AnyError|AnyPublisher|CancellableSlot|CodingKey|Completion|Data|Date|DecodingError|ErrorBridge|KeyedCoding|NSError|Publisher|Result|Secret|Sink|Subscriber|UniqueFunction|UserInfo|Void)'
found=$(grep -rnE '^#include <Corvane/' platform adapters | grep -vE "<Corvane/$vocabulary\.hpp>" || true)
[ -z "$found" ] || { printf '%s\n%s\n\n' "platform/ and adapters/ see only the vocabulary of include/Corvane:" "$found"; failed=1; }
check "adapters emulator hosts" '"(\.\./)*Corvane/' "The module's private headers are its own:"
check emulator '<Corvane(Platform|Linux)?/' "The emulator shares nothing with the module:"
adapters=$(ls -d adapters/linux/*/ | xargs -n1 basename | grep -vx include | paste -sd'|')
check hosts "\"(\.\./)*($adapters)/" "Hosts see only the public headers of the adapters, <CorvaneLinux/...>:"
for adapter in adapters/linux/*/; do
  name=$(basename "$adapter")
  others=$(ls -d adapters/linux/*/ | xargs -n1 basename | grep -vx "$name" | grep -vx include | paste -sd'|')
  check "$adapter" "\"(\.\./)*($others)/" "adapters/linux/$name includes another adapter:"
done
check tests/support '[<"](CorvaneLinux|curl|oauth)/' "Test support sees platform/ and the vocabulary only:"
exit $failed
