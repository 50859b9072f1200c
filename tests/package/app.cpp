// A consumer of the installed or embedded library: includes everything, calls into the library
// and derives from an exported class (which needs its exported type information and table).
#include <zelk/zelk.h>

#include <cstdio>
#include <typeinfo>

namespace {

class Name : public vorlan::zelk::AString {
public:
    using AString::AString;
};

int Fail(const char* what) {
    std::printf("zelk consumer: %s\n", what);
    return 1;
}

} // namespace

int main() {
    using vorlan::zelk::AAllocator;
    using vorlan::zelk::AString;

    void* block = AAllocator::Alloc(16);
    if (block == nullptr) {
        return Fail("allocation failed");
    }
    AAllocator::Free(block);

    AString* text = new Name("consumer");
    *text += AString(" text");
    const bool counted = text->CharCount() == 13;
    const bool derived = dynamic_cast<Name*>(text) != nullptr && typeid(*text) == typeid(Name);
    delete text;
    if (!counted) {
        return Fail("wrong character count");
    }
    if (!derived) {
        return Fail("the derived class lost its type");
    }
    std::puts("zelk consumer: ok");
    return 0;
}
