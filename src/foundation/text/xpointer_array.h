#pragma once
// XPointerArray: 64-bit values with the first 16 held inside the object. When full it grows
// by `step`, and `step` doubles up to MaxStep, so long lists are copied rarely.
#include <cstdint>

class XPointerArray {
public:
    static constexpr int64_t InlineCount = 16;
    static constexpr uint64_t FirstStep = 32;
    static constexpr uint64_t MaxStep = 500000;

    XPointerArray();
    XPointerArray(const XPointerArray& other);
    XPointerArray(XPointerArray&& other) noexcept;
    XPointerArray& operator=(const XPointerArray& other);
    XPointerArray& operator=(XPointerArray&& other) noexcept;
    ~XPointerArray();

    int64_t Count() const { return count; }
    uint64_t Capacity() const { return capacity; }
    bool IsInline() const { return data == inlineItems; }
    uint64_t Get(int64_t index) const { return data[index]; }
    void Set(int64_t index, uint64_t value) { data[index] = value; }
    uint64_t& operator[](int64_t index) { return data[index]; }
    uint64_t operator[](int64_t index) const { return data[index]; }
    uint64_t* Data() { return data; }
    const uint64_t* Data() const { return data; }

    void Add(uint64_t value);
    // index -1 or beyond Count appends.
    void Insert(int64_t index, uint64_t value);
    // Ignored when out of range.
    void RemoveAt(int64_t index);
    bool Find(uint64_t value, int64_t* index) const;
    // Removes every match and closes the gaps; returns how many went.
    int64_t RemoveValue(uint64_t value);
    // Empties the array and goes back to the inline storage.
    void Clear();
    // Makes room for at least `minimum` items (count is not changed).
    void Reserve(int64_t minimum);
    // Sets the count, growing with zeros as needed.
    void SetCount(int64_t newCount);

protected:
    void Grow();

    uint64_t* data;
    int64_t count;
    uint64_t capacity;
    uint64_t step;
    uint64_t inlineItems[InlineCount];
};
