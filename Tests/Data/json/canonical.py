"""Reads JSON texts with Python's own reader and writes what each one means, a line a text.

Usage: canonical.py TEXTS. The file holds for each text its size in bytes in decimal, a line end, and the text.

A text that is refused gives "error". Values are written without ambiguity:
  n t f          null, true, false
  i<digits>      an integer of 64 bits (signed or unsigned)
  r<hex>         a double, as float.hex writes it
  d<digits>e<n>  a decimal: no zeros at the end of its digits
  s<hex>         a string, as the bytes of its UTF-8
  [..] {..}      arrays and objects, each entry followed by a comma, keys without the leading s

Where Python takes more than RFC 8259 (NaN, Infinity, surrogates that stand alone) the text is refused here. Numbers are
classified by the rules that the library documents, computed with the decimal module.
"""
import decimal
import json
import sys

LIMITS = {"Emin": decimal.MIN_EMIN, "Emax": decimal.MAX_EMAX, "traps": []}
CONTEXT = decimal.Context(prec=38, rounding=decimal.ROUND_HALF_UP, **LIMITS)
EXACT = decimal.Context(prec=100000, **LIMITS)


class Refused(Exception):
    pass


class Number:
    def __init__(self, text):
        self.text = text


def real(text):
    value = float(text)
    if value in (float("inf"), float("-inf")):
        raise Refused(text)
    return Number("r" + value.hex())


def as_decimal(text):
    """None when the exponent leaves a decimal's range."""
    sign, digits, exponent = CONTEXT.create_decimal(text).normalize(CONTEXT).as_tuple()
    digits = list(digits)
    while exponent > 127 and len(digits) < 38:
        digits.append(0)
        exponent -= 1
    if not -128 <= exponent <= 127:
        return None
    return Number("d" + ("-" if sign else "") + "".join(map(str, digits)) + "e" + str(exponent))


def parse_int(text):
    value = int(text) if len(text) < 4000 else None
    if text == "-0":
        return real(text)
    if value is not None and -(2**63) <= value < 2**64:
        return Number("i" + str(value))
    return as_decimal(text) or real(text)


def parse_float(text):
    value = EXACT.create_decimal(text)
    if value.is_finite() and value != 0 and len(value.normalize(EXACT).as_tuple().digits) > 17:
        return as_decimal(text) or real(text)
    return real(text)


def parse_constant(text):
    raise Refused(text)


def canonical(value):
    if value is None:
        return "n"
    if value is True:
        return "t"
    if value is False:
        return "f"
    if isinstance(value, Number):
        return value.text
    if isinstance(value, str):
        return "s" + value.encode("utf-8").hex()
    if isinstance(value, list):
        return "[" + "".join(canonical(v) + "," for v in value) + "]"
    return "{" + "".join(canonical(k)[1:] + ":" + canonical(v) + "," for k, v in value.items()) + "}"


def parse_object(pairs):
    # Also what another value of an equal key replaces must be text.
    for key, value in pairs:
        canonical(key), canonical(value)
    return dict(pairs)


def meaning(data):
    try:
        if data.startswith(b"\xef\xbb\xbf"):
            data = data[3:]
        text = data.decode("utf-8")
        return canonical(
            json.loads(
                text,
                object_pairs_hook=parse_object,
                parse_int=parse_int,
                parse_float=parse_float,
                parse_constant=parse_constant,
            )
        )
    except (ValueError, Refused, RecursionError):  # what a Unicode error is too
        return "error"


def main():
    with open(sys.argv[1], "rb") as file:
        while True:
            size = file.readline()
            if not size:
                break
            print(meaning(file.read(int(size))))


if __name__ == "__main__":
    main()
