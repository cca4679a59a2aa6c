// Marks the symbols that the shared library exports; all others are hidden.
#pragma once

/// Marks what is part of the library's binary interface: every class that is thrown, recognised by its exact type or
/// derived from by an application.
#define HEVRA_EXPORT __attribute__((visibility("default")))
/// Marks what only the library uses of an exported class: a class inside, or a private function that no inline function
/// calls. A gateway has little memory, and each exported symbol takes about 80 bytes of it.
#define HEVRA_INTERNAL __attribute__((visibility("hidden")))
