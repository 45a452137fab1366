#ifndef VX_UNCOPYABLE_H
#define VX_UNCOPYABLE_H
class VxUncopyable
{
protected:
    VxUncopyable() = default;
    ~VxUncopyable() = default;
public:
    VxUncopyable(const VxUncopyable&) = delete;
    VxUncopyable& operator=(const VxUncopyable&) = delete;
};
#endif
