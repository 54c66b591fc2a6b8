#pragma once
#include <cstdint>
#include <cstring>

// Reads fields of a version 3 raw file header image by their offsets.
class CTrvHeaderView {
public:
    explicit CTrvHeaderView(const uint8_t* image) : image(image) {}

    template <typename T>
    T At(int offset) const {
        T value;
        std::memcpy(&value, image + offset, sizeof value);
        return value;
    }
    // A zero-padded text field of at most `width` characters.
    void Text(int offset, int width, char* out) const {
        std::memcpy(out, image + offset, width);
        out[width] = '\0';
    }

private:
    const uint8_t* image;
};
