// What the sanitizers report about libraries that are not built with them. Part of every program
// that tests run in a build with sanitizers; the sanitizers ask for these texts by name.

extern "C" {

// Fonts stay cached for the life of the process, in records that point at their parts by offsets, which the
// checker cannot follow.
const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() { return "leak:libfontconfig\n"; }

// Tests pass in silence.
const char* __lsan_default_options();
const char* __lsan_default_options() { return "print_suppressions=0"; }

// Pango looks fonts up on a thread of its own; the locks with which it hands them over are not seen. Nor is
// the loader's: what libcurl brings along is set up on the thread that loads it, and taken down by the one
// that exits.
const char* __tsan_default_suppressions();
const char* __tsan_default_suppressions() {
  return "race:libfontconfig\n"
         "race:libglib-2.0\n"
         "race:libpangoft2-1.0\n"
         "race:libgnutls\n"
         "race:libp11-kit\n"
         "race:libtasn1\n";
}

}  // extern "C"
