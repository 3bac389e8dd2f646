// A shared library that loads fine but exports no module entry.
extern "C" __attribute__((visibility("default"))) int pralix_unrelated_function(void) {
  return 7;
}
