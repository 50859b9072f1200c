// APathIterator: a read-only random-access iterator that walks the components of an APath from
// first to last.
#ifndef ZELK_APATHITERATOR_H
#define ZELK_APATHITERATOR_H

#include <zelk/aallocator.h>
#include <zelk/apathcomponent.h>
#include <zelk/export.h>

#include <cstddef>
#include <iterator>

namespace vorlan {
namespace zelk {

class APath;
struct APathIteratorImpl;

// A position in the component list of one path and the identity of that list; it shows
// the component at its position. Only APath makes one (begin/end or rbegin/rend); all else is
// copied. It neither owns nor pins the path: any change of the path's list makes it stale. No
// operator tests bounds; comparing with the path's end is the caller's part. Ordering and
// difference are meaningful only between iterators over one list, while == also tells lists apart.
// Each new iterator costs one small allocation, so the prefix steps are the cheap ones.
//
// Every iterator owns a record of its own: a copy, a postfix step, + and - each allocate one,
// assignment copies into the record already held. A registered allocate procedure that gives no
// memory for it is a broken invariant: the library's assertion writes the failed expression,
// file and line to the standard error stream and stops the process with std::abort, in every
// build type, so no iterator ever goes on without its record. An allocate procedure that throws
// (the default throws std::bad_alloc) passes its exception on before anything has moved: a
// postfix step that can't get memory leaves the iterator where it was.
class ZELK_API APathIterator {
public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = APathComponent;
    using difference_type = long;
    using pointer = const APathComponent*;
    using reference = const APathComponent&;

    APathIterator(const APathIterator& other);
    APathIterator& operator=(const APathIterator& other);
    virtual ~APathIterator();

    const APathComponent& operator*() const;
    const APathComponent* operator->() const;
    // The component n places forward of the one shown; the iterator does not move.
    const APathComponent& operator[](unsigned long n) const;

    APathIterator& operator++();
    APathIterator& operator--();
    APathIterator operator++(int);
    APathIterator operator--(int);
    APathIterator& operator+=(long n);
    APathIterator& operator-=(long n);
    APathIterator operator+(long n) const;
    APathIterator operator-(long n) const;

    bool operator==(const APathIterator& other) const;
    bool operator!=(const APathIterator& other) const;
    bool operator<(const APathIterator& other) const;
    bool operator<=(const APathIterator& other) const;
    bool operator>(const APathIterator& other) const;
    bool operator>=(const APathIterator& other) const;
    // Steps from other's position to this one.
    long operator-(const APathIterator& other) const;

    static void* operator new(std::size_t size);
    static void* operator new[](std::size_t size);
    static void* operator new(std::size_t size, void* place);
    static void operator delete(void* pointer);
    static void operator delete[](void* pointer);
    static void operator delete(void* pointer, void* place);

private:
    friend class APath;
    // Takes ownership of impl, which must not be null.
    explicit APathIterator(APathIteratorImpl* impl);

    APathIteratorImpl* fpImpl;
};

} // namespace zelk
} // namespace vorlan

#endif // ZELK_APATHITERATOR_H
