// Which symbols leave the shared library: everything is hidden unless marked with this.
#pragma once

/// Marks what is part of the library's binary interface: every class that is thrown, recognised by its exact type or
/// derived from by an application.
#define HEVRA_EXPORT __attribute__((visibility("default")))
/// Marks what stands inside a class of the interface but is nobody else's.
#define HEVRA_INTERNAL __attribute__((visibility("hidden")))
