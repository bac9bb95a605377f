// A network thread whose last client is dropped by a worker may end together with the process. OpenSSL then cannot free
// that thread's error state any more, some 900 bytes that LeakSanitizer sees. For programs that end so; what else leaks
// there, the ones that test HTTP alone would show.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:CRYPTO_zalloc";
}
