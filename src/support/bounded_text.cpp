#include "support/bounded_text.h"

#include <array>
#include <cstdarg>
#include <limits>

namespace korvex {

namespace {

// A text being built: units beyond `room` are counted as lost.
struct Output {
    WCHAR* text;
    size_t room; // without the terminator
    size_t length;
    bool complete;
};

// One conversion, "%" to letter.
struct Conversion {
    bool leftAligned;
    bool zeroPadded;
    bool signAlways;
    bool signBlank;
    bool prefixed;
    size_t width;
    bool hasPrecision;
    size_t precision;
    WCHAR letter;
};

// An integer's text is built from its end: 10 digits suffice for 32 bits; widths and precisions are
// added outside.
struct Digits {
    std::array<WCHAR, 10> units;
    size_t count;
};

void Append(Output* output, WCHAR unit)
{
    if (output->length < output->room)
        output->text[output->length++] = unit;
    else
        output->complete = false;
}

// Stops at the end of the room, so that a huge width costs nothing.
void AppendRepeated(Output* output, WCHAR unit, size_t count)
{
    for (size_t i = 0; i < count && output->complete; ++i)
        Append(output, unit);
}

Digits DigitsOf(uint32_t value, uint32_t base, bool upperCase)
{
    Digits digits{};
    while (value != 0) {
        const uint32_t digit = value % base;
        const char letterBase = upperCase ? 'A' : 'a';
        digits.units[digits.units.size() - ++digits.count] = static_cast<WCHAR>(
            digit < 10 ? '0' + digit : static_cast<uint32_t>(letterBase) + digit - 10);
        value /= base;
    }
    return digits;
}

void AppendInteger(Output* output, const Conversion* conversion, uint32_t value)
{
    const bool isSigned = conversion->letter == 'd' || conversion->letter == 'i';
    const bool negative = isSigned && (value >> 31) != 0;
    const bool hexadecimal = conversion->letter == 'x' || conversion->letter == 'X';
    const Digits digits
        = DigitsOf(negative ? 0 - value : value, hexadecimal ? 16 : 10, conversion->letter == 'X');

    std::array<WCHAR, 2> prefix{};
    size_t prefixLength = 0;
    if (negative)
        prefix[prefixLength++] = '-';
    else if (isSigned && (conversion->signAlways || conversion->signBlank))
        prefix[prefixLength++] = conversion->signAlways ? '+' : ' ';
    if (hexadecimal && conversion->prefixed && value != 0) {
        prefix[prefixLength++] = '0';
        prefix[prefixLength++] = conversion->letter;
    }

    const size_t precision = conversion->hasPrecision ? conversion->precision : 1;
    size_t zeros = precision > digits.count ? precision - digits.count : 0;
    const size_t bare = prefixLength + zeros + digits.count;
    const size_t padding = conversion->width > bare ? conversion->width - bare : 0;
    const bool padsWithZeros
        = conversion->zeroPadded && !conversion->leftAligned && !conversion->hasPrecision;
    if (padsWithZeros)
        zeros += padding;
    else if (!conversion->leftAligned)
        AppendRepeated(output, ' ', padding);
    for (size_t i = 0; i < prefixLength; ++i)
        Append(output, prefix[i]);
    AppendRepeated(output, '0', zeros);
    for (size_t i = digits.units.size() - digits.count; i < digits.units.size(); ++i)
        Append(output, digits.units[i]);
    if (conversion->leftAligned)
        AppendRepeated(output, ' ', padding);
}

void AppendText(Output* output, const Conversion* conversion, const WCHAR* text, size_t limit)
{
    size_t length = 0;
    if (conversion->width > 0) {
        while (length < limit && length < conversion->width && text[length] != 0)
            ++length;
    }
    const size_t padding = conversion->width - length; // 0 as soon as the text fills the width
    if (!conversion->leftAligned)
        AppendRepeated(output, ' ', padding);
    for (size_t i = 0; i < limit && output->complete && text[i] != 0; ++i)
        Append(output, text[i]);
    if (conversion->leftAligned)
        AppendRepeated(output, ' ', padding);
}

// Reads a number of a format, at most MAX_CAPACITY.
int64_t ReadNumber(const WCHAR** format)
{
    constexpr int64_t LIMIT = MAX_CAPACITY;
    int64_t number = 0;
    for (; **format >= '0' && **format <= '9'; ++*format) {
        if (number <= LIMIT)
            number = number * 10 + (**format - '0');
    }
    return number <= LIMIT ? number : LIMIT;
}

bool ReadFlag(Conversion* conversion, WCHAR unit)
{
    switch (unit) {
    case '-':
        return conversion->leftAligned = true;
    case '0':
        return conversion->zeroPadded = true;
    case '+':
        return conversion->signAlways = true;
    case ' ':
        return conversion->signBlank = true;
    case '#':
        return conversion->prefixed = true;
    default:
        return false;
    }
}

// Reads a width or a precision, of the format or of the arguments.
int64_t ReadSize(const WCHAR** format, va_list* arguments)
{
    if (**format != '*')
        return ReadNumber(format);
    ++*format;
    return va_arg(*arguments, int);
}

// Reads a conversion from after its "%" up to its letter. At the end of the format the letter is
// the terminator, which stays unread.
Conversion ReadConversion(const WCHAR** format, va_list* arguments)
{
    Conversion conversion{};
    while (ReadFlag(&conversion, **format))
        ++*format;
    const int64_t width = ReadSize(format, arguments);
    conversion.leftAligned = conversion.leftAligned || width < 0;
    conversion.width = static_cast<size_t>(width < 0 ? -width : width);
    if (**format == '.') {
        ++*format;
        const int64_t precision = ReadSize(format, arguments);
        conversion.hasPrecision = precision >= 0;
        conversion.precision = static_cast<size_t>(precision < 0 ? 0 : precision);
    }
    conversion.letter = **format;
    if (conversion.letter != 0)
        ++*format;
    return conversion;
}

void AppendConversion(Output* output, const Conversion* conversion, va_list* arguments)
{
    switch (conversion->letter) {
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
        AppendInteger(output, conversion, va_arg(*arguments, unsigned));
        break;
    case 'c': {
        const auto unit = static_cast<WCHAR>(va_arg(*arguments, int));
        const size_t padding = conversion->width > 1 ? conversion->width - 1 : 0;
        AppendRepeated(output, ' ', conversion->leftAligned ? 0 : padding);
        Append(output, unit);
        AppendRepeated(output, ' ', conversion->leftAligned ? padding : 0);
        break;
    }
    case 's': {
        const WCHAR* text = va_arg(*arguments, const WCHAR*);
        AppendText(output, conversion, text == nullptr ? TEXT("(null)") : text,
            conversion->hasPrecision ? conversion->precision : MAX_CAPACITY);
        break;
    }
    case '%':
        Append(output, '%');
        break;
    default: // no conversion, or the format ends in the middle of one
        output->complete = false;
        break;
    }
}

// Counts the units before the terminator and stores their number times `unitSize`.
uint32_t CountUnits(const WCHAR* text, size_t maximum, size_t unitSize, size_t* length)
{
    size_t count = 0;
    while (text != nullptr && count < maximum && text[count] != 0)
        ++count;
    const bool terminated = text != nullptr && count < maximum;
    if (length != nullptr)
        *length = terminated ? count * unitSize : 0;
    return terminated ? TEXT_OK : TEXT_INVALID_PARAMETER;
}

} // namespace

uint32_t FormatBounded(WCHAR* destination, size_t capacity, const WCHAR* format, ...)
{
    if (capacity == 0 || capacity > MAX_CAPACITY)
        return TEXT_INVALID_PARAMETER;

    Output output{destination, capacity - 1, 0, true};
    va_list arguments;
    va_start(arguments, format);
    while (output.complete && *format != 0) {
        if (*format != '%') {
            Append(&output, *format++);
            continue;
        }
        ++format;
        const Conversion conversion = ReadConversion(&format, &arguments);
        AppendConversion(&output, &conversion, &arguments);
    }
    va_end(arguments);

    destination[output.length] = 0;
    if (!output.complete)
        destination[capacity - 1] = 0;
    return output.complete ? TEXT_OK : TEXT_TRUNCATED;
}

uint32_t CopyBounded(WCHAR* destination, size_t capacity, const WCHAR* source)
{
    if (capacity == 0 || capacity > MAX_CAPACITY)
        return TEXT_INVALID_PARAMETER;
    size_t length = 0;
    while (length < capacity - 1 && source[length] != 0) {
        destination[length] = source[length];
        ++length;
    }
    destination[length] = 0;
    return source[length] == 0 ? TEXT_OK : TEXT_TRUNCATED;
}

uint32_t LengthBounded(const WCHAR* text, size_t maximum, size_t* length)
{
    const bool countable = text != nullptr && maximum <= MAX_CAPACITY;
    return CountUnits(countable ? text : nullptr, maximum, 1, length);
}

uint32_t ByteLengthBounded(const WCHAR* text, size_t maximumBytes, size_t* length)
{
    return CountUnits(text, maximumBytes / sizeof(WCHAR), sizeof(WCHAR), length);
}

int32_t ParseInteger(const WCHAR* text)
{
    constexpr int64_t LIMIT = std::numeric_limits<int32_t>::max();
    while (*text == ' ' || (*text >= '\t' && *text <= '\r'))
        ++text;
    const bool negative = *text == '-';
    if (*text == '-' || *text == '+')
        ++text;
    int64_t value = 0;
    for (; *text >= '0' && *text <= '9'; ++text) {
        if (value <= LIMIT)
            value = value * 10 + (*text - '0');
    }
    if (negative)
        return static_cast<int32_t>(value > LIMIT ? -LIMIT - 1 : -value);
    return static_cast<int32_t>(value > LIMIT ? LIMIT : value);
}

} // namespace korvex
