// Marks the symbols that the shared library exports; all others are hidden.
#pragma once

/// Marks what is part of the library's binary interface: every class that is thrown, recognised by its exact type or
/// derived from by an application.
#define HEVRA_EXPORT __attribute__((visibility("default")))
/// Marks a class inside an exported class that only the library uses.
#define HEVRA_INTERNAL __attribute__((visibility("hidden")))
