// Compiled into every layer of the library. Assertions are part of the
// library's behaviour (their texts are checked by tests), so a build that
// switches them off is refused here rather than shipped.
#ifdef NDEBUG
#error "fibertest must be built with assertions active: do not define NDEBUG"
#endif
