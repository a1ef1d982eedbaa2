// The least that can be loaded.
__attribute__((visibility("default"))) int g_empty = 1;
