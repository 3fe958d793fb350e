#include "discovery/model_table.h"

#include <array>
#include <cstddef>

#include "link/device_properties.h"
#include "link/touch_controller.h"
#include "support/bounded_text.h"
#include "support/compare_no_case.h"

namespace korvex {

namespace {

struct Model {
    const WCHAR* digits;
    uint32_t model;
};

constexpr std::array<Model, 3> MODELS_BY_NAME{Model{TEXT("5200"), MODEL_5200},
    Model{TEXT("7700"), MODEL_7700}, Model{TEXT("5460"), MODEL_5460}};

constexpr std::array<Model, 7> MODELS_BY_PRODUCT{Model{TEXT("5200"), MODEL_5200},
    Model{TEXT("2400"), MODEL_2400}, Model{TEXT("5460"), MODEL_5460},
    Model{TEXT("5201"), MODEL_5200}, Model{TEXT("5203"), MODEL_5200},
    Model{TEXT("4400"), MODEL_4400}, Model{TEXT("8200"), MODEL_8200}};

// Character positions in the identifiers.
constexpr size_t SERIAL_DIGITS = 11;  // SERENUM\KVX^
constexpr size_t USB_MAKER = 4;       // USB\^
constexpr size_t USB_DIGITS = 7;      // USB\KVX^
constexpr size_t VENDOR_DIGITS = 8;   // USB\VID_^
constexpr size_t PRODUCT_DIGITS = 17; // USB\VID_2C7A&PID_^

// An identifier and its length, so that no test looks beyond its end.
struct Identifier {
    const WCHAR* text;
    size_t length;
};

bool HasAt(const Identifier* identifier, size_t position, const WCHAR* literal)
{
    size_t count = 0;
    LengthBounded(literal, TEXT_CAPACITY, &count);
    return position + count <= identifier->length
        && EqualsNoCase(
            identifier->text + position, static_cast<int>(count), literal, static_cast<int>(count));
}

template <size_t COUNT>
uint32_t LookUp(
    const Identifier* identifier, size_t position, const std::array<Model, COUNT>* models)
{
    for (const Model& model : *models) {
        if (HasAt(identifier, position, model.digits))
            return model.model;
    }
    return 0;
}

Identifier IdentifierOf(const WCHAR* text)
{
    Identifier identifier{text, 0};
    LengthBounded(text, MAX_CAPACITY, &identifier.length);
    return identifier;
}

} // namespace

uint32_t ModelFromHardwareId(const WCHAR* text)
{
    const Identifier identifier = IdentifierOf(text);
    if (!HasAt(&identifier, 0, TEXT("USB")) && !HasAt(&identifier, 0, TEXT("HID")))
        return HasAt(&identifier, 0, TEXT("SERENUM"))
            ? LookUp(&identifier, SERIAL_DIGITS, &MODELS_BY_NAME)
            : 0;
    if (HasAt(&identifier, VENDOR_DIGITS, TEXT("3381"))
        && HasAt(&identifier, PRODUCT_DIGITS, TEXT("6646")))
        return MODEL_4400;
    if (HasAt(&identifier, USB_MAKER, TEXT("KVX")))
        return LookUp(&identifier, USB_DIGITS, &MODELS_BY_NAME);
    if (HasAt(&identifier, VENDOR_DIGITS, TEXT("2C7A")))
        return LookUp(&identifier, PRODUCT_DIGITS, &MODELS_BY_PRODUCT);
    return 0;
}

uint8_t BusKindFromHardwareId(HDEVINFO devices, SP_DEVINFO_DATA* element)
{
    PropertyText entry{};
    if (!ReadFirstEntry(devices, element, SPDRP_HARDWAREID, &entry))
        return BUS_UNKNOWN;
    const Identifier identifier = IdentifierOf(entry.data());
    if (HasAt(&identifier, 0, TEXT("USB")))
        return BUS_USB;
    return HasAt(&identifier, 0, TEXT("SERENUM")) ? BUS_SERIAL_ENUMERATOR : BUS_UNKNOWN;
}

bool IsEnumeratorBound(HDEVINFO devices, SP_DEVINFO_DATA* element)
{
    PropertyText filter{};
    if (!ReadFirstEntry(devices, element, SPDRP_UPPERFILTERS, &filter))
        return false;
    if (!EqualsNoCase(filter.data(), -1, ENUMERATOR_SERVICE, -1))
        return false;
    ULONG status = 0;
    ULONG problem = 0;
    return CM_Get_DevNode_Status(&status, &problem, element->DevInst, 0) == CR_SUCCESS
        && (status & DN_HAS_PROBLEM) == 0;
}

} // namespace korvex
