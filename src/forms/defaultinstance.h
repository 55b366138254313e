#pragma once
// A form's default instance, as the module uses each of its forms: the first use creates the form and runs
// its Form_Load; "if loaded" never creates; unloading runs the form's own Unload, which lets the instance go
// (release), so that the next use builds the form anew. A load that raises takes the half-loaded form away
// and lets the error go on.

#include <QPointer>

#include <type_traits>

namespace agr {

template <class Form> class DefaultInstance
{
public:
    // The form, created (by make, when given: a form that takes back kept widgets) and loaded on first use.
    template <class Make> static Form *get(Make make)
    {
        if (!slot()) {
            Form *form = make();
            slot() = form;
            try {
                form->Form_Load();
            } catch (...) {
                form->Unload();
                throw;
            }
        }
        return slot();
    }
    static Form *get()
    {
        return get([] { return new Form; });
    }

    static Form *ifLoaded() { return slot(); }

    // The form's Unload, when it is loaded; what that Unload answers (true when there was nothing to unload).
    static bool unload()
    {
        Form *form = slot();
        if (!form)
            return true;
        if constexpr (std::is_same_v<decltype(form->Unload()), bool>) {
            return form->Unload();
        } else {
            form->Unload();
            return true;
        }
    }

    // The form going away: the instance is empty from then on.
    static void release(const Form *form)
    {
        if (slot() == form)
            slot() = nullptr;
    }

private:
    static QPointer<Form> &slot()
    {
        static QPointer<Form> form;
        return form;
    }
};

} // namespace agr
