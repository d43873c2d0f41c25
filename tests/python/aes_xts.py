"""XTS-AES-256 encryption (IEEE 1619) in plain Python, from the standards' definitions: slow, and
independent of what it is compared with."""


def _times_x(byte):
    return (byte << 1 ^ (0x11B if byte & 0x80 else 0)) & 0xFF


def _make_sbox():
    sbox = [0x63] * 256
    element = inverse = 1
    for _ in range(255):
        # 3 generates all elements; 0xF6 is its inverse.
        element ^= _times_x(element)
        inverse = _multiply(inverse, 0xF6)
        rotated = inverse | inverse << 8
        sbox[element] = (inverse ^ rotated >> 7 ^ rotated >> 6 ^ rotated >> 5 ^ rotated >> 4
                         ^ 0x63) & 0xFF
    return sbox


def _multiply(left, right):
    product = 0
    while right:
        if right & 1:
            product ^= left
        left, right = _times_x(left), right >> 1
    return product


_SBOX = _make_sbox()


def _expand(key):
    """The 15 round keys of a 32-byte key."""
    words = [list(key[i:i + 4]) for i in range(0, 32, 4)]
    constant = 1
    for i in range(8, 60):
        word = list(words[-1])
        if i % 8 == 0:
            word = [_SBOX[byte] for byte in word[1:] + word[:1]]
            word[0] ^= constant
            constant = _times_x(constant)
        elif i % 8 == 4:
            word = [_SBOX[byte] for byte in word]
        words.append([old ^ new for old, new in zip(words[-8], word)])
    return [sum(words[i:i + 4], []) for i in range(0, 60, 4)]


def _encrypt_block(round_keys, block):
    state = [byte ^ key for byte, key in zip(block, round_keys[0])]
    for round_key in round_keys[1:]:
        state = [_SBOX[state[(i + 4 * (i % 4)) % 16]] for i in range(16)]
        if round_key is not round_keys[-1]:
            mixed = []
            for i in range(0, 16, 4):
                a, b, c, d = state[i:i + 4]
                every = a ^ b ^ c ^ d
                mixed += [a ^ every ^ _times_x(a ^ b), b ^ every ^ _times_x(b ^ c),
                          c ^ every ^ _times_x(c ^ d), d ^ every ^ _times_x(d ^ a)]
            state = mixed
        state = [byte ^ key for byte, key in zip(state, round_key)]
    return state


def encrypt(key, number, plain):
    """The data unit with this number, a multiple of 16 bytes, under a 64-byte key."""
    data_keys, tweak_keys = _expand(bytearray(key[:32])), _expand(bytearray(key[32:]))
    tweak = _encrypt_block(tweak_keys, bytearray(number.to_bytes(16, "little")))
    cipher = bytearray()
    for i in range(0, len(plain), 16):
        masked = [byte ^ mask for byte, mask in zip(bytearray(plain[i:i + 16]), tweak)]
        cipher += bytearray(byte ^ mask
                            for byte, mask in zip(_encrypt_block(data_keys, masked), tweak))
        doubled = int.from_bytes(bytearray(tweak), "little") << 1
        tweak = bytearray((doubled & (1 << 128) - 1 ^ (0x87 if doubled >> 128 else 0))
                          .to_bytes(16, "little"))
    return bytes(cipher)
