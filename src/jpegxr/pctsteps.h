// The lifting steps of the 4x4 photo core transform (ITU-T T.832),
// written once over an arithmetic policy O so that the plain C reference (one element at a time)
// and the SSSE3 kernels (one lane per block, four blocks at a time) run the very same sequence.
//
// A policy supplies the value type V and:
//   add, sub, neg          two's complement (integers) or IEEE single operations
//   half(x)                x >> 1                    0.5x for floats
//   halfUp(x)              (x + 1) >> 1              0.5x
//   halfR(x, r)            (x + r) >> 1              0.5x (the offset of T2 is dropped)
//   m3o8a(x)               (3x + 4) >> 3             0.375x
//   m3o8b(x)               (3x + 3) >> 3             0.375x
//   m3o4(x)                (3x + 3) >> 2             0.75x
//   el(x)                  what storing x in a block element keeps: the low 16 bits of 16s
//                          blocks, x itself otherwise. Temporaries (e, f, g, h, k) are not
//                          stored and keep their 32 bits.
#ifndef KEP_PCTSTEPS_H
#define KEP_PCTSTEPS_H

namespace pct {

// T2(p, q, s, u; r): 2x2 Hadamard with rounding offset r. Self-inverse.
template <class O, class V>
inline void t2(V& p, V& q, V& s, V& u, int r) {
    const V s0 = s, u0 = u;
    p = O::el(O::add(p, u));
    q = O::el(O::sub(q, s));
    const V e = O::sub(O::halfR(O::sub(p, q), r), u0);
    const V f = O::add(O::sub(e, s0), u0);
    q = O::el(O::add(q, e));
    p = O::el(O::sub(p, f));
    s = O::el(e);
    u = O::el(f);
}

// TO(A, B, C, D): the odd rotation.
template <class O, class V>
inline void oddFwd(V& a, V& b, V& c, V& d) {
    b = O::el(O::sub(b, c));
    a = O::el(O::add(a, d));
    c = O::el(O::add(c, O::halfUp(b)));
    d = O::el(O::sub(O::halfUp(a), d));
    b = O::el(O::sub(b, O::m3o8a(a)));
    a = O::el(O::add(a, O::m3o8a(b)));
    d = O::el(O::sub(d, O::m3o8a(c)));
    c = O::el(O::add(c, O::m3o8a(d)));
    d = O::el(O::add(d, O::half(b)));
    c = O::el(O::sub(c, O::halfUp(a)));
    b = O::el(O::sub(b, d));
    a = O::el(O::add(a, c));
}

template <class O, class V>
inline void oddInv(V& a, V& b, V& c, V& d) {
    b = O::el(O::add(b, d));
    a = O::el(O::sub(a, c));
    d = O::el(O::sub(d, O::half(b)));
    c = O::el(O::add(c, O::halfUp(a)));
    a = O::el(O::sub(a, O::m3o8a(b)));
    b = O::el(O::add(b, O::m3o8a(a)));
    c = O::el(O::sub(c, O::m3o8a(d)));
    d = O::el(O::add(d, O::m3o8a(c)));
    c = O::el(O::sub(c, O::halfUp(b)));
    d = O::el(O::sub(O::halfUp(a), d));
    b = O::el(O::add(b, c));
    a = O::el(O::sub(a, d));
}

// TOO(A, B, C, D): the odd-odd rotation. Forward and inverse share their opening butterflies
// (up to k = B + g) and their closing ones (from B = k - g); they differ in the sign flips and
// in the two lifting steps between.
template <class O, class V>
inline void oddOddOpen(V& a, V& b, V& c, V& d, V& h, V& g, V& k) {
    d = O::el(O::add(d, a));
    c = O::el(O::sub(c, b));
    h = O::half(d);
    a = O::el(O::sub(a, h));
    g = O::half(c);
    k = O::add(b, g);
}

// Expects a to hold A + ((3k + 3) >> 3) (forward) or A - ((3k + 4) >> 3) (inverse) as a
// temporary; h is added before the element is stored.
template <class O, class V>
inline void oddOddClose(V& a, V& b, V& c, V& d, V h, V g, V k) {
    b = O::el(O::sub(k, g));
    a = O::el(O::add(a, h));
    c = O::el(O::add(c, b));
    d = O::el(O::sub(d, a));
}

template <class O, class V>
inline void oddOddFwd(V& a, V& b, V& c, V& d) {
    b = O::el(O::neg(b));
    c = O::el(O::neg(c));
    V h, g, k;
    oddOddOpen<O>(a, b, c, d, h, g, k);
    a = O::el(O::add(a, O::m3o8a(k)));
    k = O::sub(k, O::m3o4(a));
    a = O::add(a, O::m3o8b(k));
    oddOddClose<O>(a, b, c, d, h, g, k);
}

template <class O, class V>
inline void oddOddInv(V& a, V& b, V& c, V& d) {
    V h, g, k;
    oddOddOpen<O>(a, b, c, d, h, g, k);
    a = O::el(O::sub(a, O::m3o8b(k)));
    k = O::add(k, O::m3o4(a));
    a = O::sub(a, O::m3o8a(k));
    oddOddClose<O>(a, b, c, d, h, g, k);
    b = O::el(O::neg(b));
    c = O::el(O::neg(c));
}

// A block as 16 values, a[4 * r + c] for row r and column c.
template <class O, class V>
inline void forward(V* a) {
    t2<O>(a[0], a[3], a[12], a[15], 0);
    t2<O>(a[1], a[2], a[13], a[14], 0);
    t2<O>(a[4], a[7], a[8], a[11], 0);
    t2<O>(a[5], a[6], a[9], a[10], 0);
    t2<O>(a[0], a[1], a[4], a[5], 1);
    oddFwd<O>(a[2], a[3], a[6], a[7]);
    oddFwd<O>(a[8], a[12], a[9], a[13]);
    oddOddFwd<O>(a[10], a[11], a[14], a[15]);
}

template <class O, class V>
inline void inverse(V* a) {
    oddInv<O>(a[2], a[3], a[6], a[7]);
    oddInv<O>(a[8], a[12], a[9], a[13]);
    oddOddInv<O>(a[10], a[11], a[14], a[15]);
    t2<O>(a[0], a[1], a[4], a[5], 1);
    t2<O>(a[0], a[3], a[12], a[15], 0);
    t2<O>(a[1], a[2], a[13], a[14], 0);
    t2<O>(a[4], a[7], a[8], a[11], 0);
    t2<O>(a[5], a[6], a[9], a[10], 0);
}

}  // namespace pct

#endif  // KEP_PCTSTEPS_H
