#ifndef ZELCONFIG_ZELCONFIGLENDING_H
#define ZELCONFIG_ZELCONFIGLENDING_H

#include <memory>
#include <mutex>
#include <unordered_map>

namespace zelconfig {

// How a back end's reader lends its data to a writer of the same back end,
// the library's CFG back ends and the XML plug-in alike. GetDataPtr and
// SetDataPtr carry a bare pointer: the reader records the data it hands out,
// and a writer takes only recorded data, so a pointer of another back end is
// refused. The writer keeps what Borrow gives as a std::shared_ptr, sharing
// the data, or as a std::weak_ptr, whose expiry tells it that the reader is
// gone: whichever of the two goes first, nothing is used after it is freed or
// freed twice. One record per type of data and per shared library, for any
// thread.
template <class Data>
class Lending
{
public:
    // Records `data` as handed out; the pointer for GetDataPtr.
    static void* Lend(const std::shared_ptr<Data>& data)
    {
        std::lock_guard<std::mutex> lock(Lent().mutex);
        Lent().lent[data.get()] = data;
        return data.get();
    }

    // Forgets `data` when its reader lets it go.
    static void Forget(const Data* data)
    {
        std::lock_guard<std::mutex> lock(Lent().mutex);
        Lent().lent.erase(data);
    }

    // The data behind a pointer SetDataPtr was given; null for one never
    // lent, forgotten, or whose data is gone.
    static std::shared_ptr<Data> Borrow(const void* pointer)
    {
        std::lock_guard<std::mutex> lock(Lent().mutex);
        const auto lent = Lent().lent.find(pointer);
        return lent != Lent().lent.end() ? lent->second.lock() : nullptr;
    }

private:
    struct Record
    {
        std::mutex mutex;
        std::unordered_map<const void*, std::weak_ptr<Data>> lent;
    };

    // Never destroyed: a reader held by an application's static object may
    // let its data go after a library's own statics are gone, at exit.
    static Record& Lent()
    {
        static auto* record = new Record;
        return *record;
    }
};

} // namespace zelconfig

#endif
