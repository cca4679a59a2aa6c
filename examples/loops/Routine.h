// A coroutine that nobody awaits: it begins at its call and goes on by itself.
#pragma once

#include <coroutine>
#include <exception>

struct Routine {
  struct promise_type {
    Routine get_return_object() noexcept { return {}; }
    std::suspend_never initial_suspend() noexcept { return {}; }
    std::suspend_never final_suspend() noexcept { return {}; }
    void return_void() noexcept {}
    void unhandled_exception() noexcept { std::terminate(); }
  };
};
