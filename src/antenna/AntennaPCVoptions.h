#pragma once
// What a user chooses about antenna corrections: the calibration file by
// name and which parts of it are applied. The classes that hold loaded
// calibrations derive from it, so that they carry the choice with them.

// Sizes of the file names the antenna classes keep, and of the error
// buffers that they append their reports to.
inline constexpr int kAntennaNameSize = 256;
inline constexpr int kAntennaErrorSize = 512;

class CAntennaPCVoptions {
public:
    CAntennaPCVoptions();
    virtual ~CAntennaPCVoptions() = default;
    CAntennaPCVoptions(const CAntennaPCVoptions&) = default;
    CAntennaPCVoptions& operator=(const CAntennaPCVoptions&) = default;

    // Takes the choices of other; what a derived class has loaded stays.
    void SetOptions(const CAntennaPCVoptions& other) { CAntennaPCVoptions::operator=(other); }

    const char* GetName() const { return name; }
    // Cut to kAntennaNameSize - 1 characters.
    void SetName(const char* text);

    // Phase centre offsets and phase variations are applied each on its own.
    bool applyOffsets = true;
    bool applyVariations = true;

private:
    // The calibration file the user chose; the installation's when empty.
    char name[kAntennaNameSize] = {};
};
