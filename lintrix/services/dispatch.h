#pragma once
/// @file
/// A routine that exists in one form per processor class and binds itself on its first call.

#include <lintrix/services/processor.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <utility>

namespace Velmar::Lintrix::detail {

template <class Function>
class DispatchedRoutine;

/// Called like the routine itself. The slot for the form is empty at start; the first call asks for the
/// processor class, stores the form for it and goes on to it with the same arguments, later calls go through
/// the slot. No lock and no order is needed: all threads that bind compute the same pointer, and code is all
/// it points to.
template <class Result, class... Arguments>
class DispatchedRoutine<Result(Arguments...)> {
public:
    using Form = Result (*)(Arguments...);
    using Forms = std::array<Form, kProcessorClasses>; ///< by class, 0 to 4

    constexpr explicit DispatchedRoutine(const Forms& forms) noexcept : forms_(forms) {}

    Result operator()(Arguments... arguments)
    {
        Form form = slot_.load(std::memory_order_relaxed);
        if (form == nullptr) form = bind();
        return form(std::forward<Arguments>(arguments)...);
    }

private:
    Form bind()
    {
        const Form form = forms_[static_cast<std::size_t>(thisProcessor().processorClass)];
        slot_.store(form, std::memory_order_relaxed);
        return form;
    }

    Forms forms_;
    std::atomic<Form> slot_{nullptr};
};

} // namespace Velmar::Lintrix::detail
