/** Names the loader, so that the library file can be started as a program and reach LibEntry. */

extern const char kLoader[];
const char kLoader[] __attribute__((section(".interp"), used)) = "/lib64/ld-linux-x86-64.so.2";
