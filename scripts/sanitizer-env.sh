# Sourced by the scripts that run the sanitizer build (sanitize.sh, soak.sh):
# any report fails the run; the only suppressions are for Qt's own leaks,
# each explained in tests/lsan.supp. Expects $here to be the source tree.
export ASAN_OPTIONS="detect_leaks=1:fast_unwind_on_malloc=0:abort_on_error=0:halt_on_error=1:detect_stack_use_after_return=1"
export LSAN_OPTIONS="suppressions=$here/tests/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
