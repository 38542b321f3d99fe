// The S-box circuit of Boyar and Peralta ("A depth-16 circuit for the AES S-box", 2011).
#include "crypto/aes_sbox.h"

namespace vdx_crypto {
namespace {

using Word = std::uint64_t;
using Planes = std::array<Word, 8>;

// The input after the first linear layer; names and numbers are the paper's.
struct Top {
    Word x7, y1, y2, y3, y4, y5, y6, y7, y8, y9, y10, y11, y12, y13, y14, y15, y16, y17, y18, y19, y20, y21;
};

// The inverse in GF(2^4), which the products with the first layer need in nine forms.
struct Middle {
    Word t29, t33, t37, t40, t41, t42, t43, t44, t45;
};

Top topLayer(const Planes& q) {
    const Word x0 = q[7], x1 = q[6], x2 = q[5], x3 = q[4], x4 = q[3], x5 = q[2], x6 = q[1];
    Top y;
    y.x7 = q[0];
    y.y14 = x3 ^ x5;
    y.y13 = x0 ^ x6;
    y.y9 = x0 ^ x3;
    y.y8 = x0 ^ x5;
    const Word t0 = x1 ^ x2;
    y.y1 = t0 ^ y.x7;
    y.y4 = y.y1 ^ x3;
    y.y12 = y.y13 ^ y.y14;
    y.y2 = y.y1 ^ x0;
    y.y5 = y.y1 ^ x6;
    y.y3 = y.y5 ^ y.y8;
    const Word t1 = x4 ^ y.y12;
    y.y15 = t1 ^ x5;
    y.y20 = t1 ^ x1;
    y.y6 = y.y15 ^ y.x7;
    y.y10 = y.y15 ^ t0;
    y.y11 = y.y20 ^ y.y9;
    y.y7 = y.x7 ^ y.y11;
    y.y17 = y.y10 ^ y.y11;
    y.y19 = y.y10 ^ y.y8;
    y.y16 = t0 ^ y.y11;
    y.y21 = y.y13 ^ y.y16;
    y.y18 = x0 ^ y.y16;
    return y;
}

Middle middleLayer(const Top& y) {
    const Word t2 = y.y12 & y.y15, t4 = (y.y3 & y.y6) ^ t2, t6 = (y.y4 & y.x7) ^ t2;
    const Word t7 = y.y13 & y.y16, t9 = (y.y5 & y.y1) ^ t7, t11 = (y.y2 & y.y7) ^ t7;
    const Word t12 = y.y9 & y.y11, t14 = (y.y14 & y.y17) ^ t12, t16 = (y.y8 & y.y10) ^ t12;
    const Word t21 = t4 ^ t14 ^ y.y20, t22 = t6 ^ t16 ^ y.y19;
    const Word t23 = t9 ^ t14 ^ y.y21, t24 = t11 ^ t16 ^ y.y18;
    const Word t25 = t21 ^ t22, t26 = t21 & t23, t27 = t24 ^ t26;
    Middle m;
    m.t29 = (t25 & t27) ^ t22;
    m.t33 = ((t22 ^ t26) & (t23 ^ t24)) ^ t24;
    const Word t36 = t24 & (t27 ^ m.t33);
    m.t37 = t36 ^ t23 ^ m.t33;
    m.t40 = t25 ^ (m.t29 & (t27 ^ t36));
    m.t41 = m.t40 ^ m.t37;
    m.t42 = m.t29 ^ m.t33;
    m.t43 = m.t29 ^ m.t40;
    m.t44 = m.t33 ^ m.t37;
    m.t45 = m.t42 ^ m.t41;
    return m;
}

void bottomLayer(const Top& y, const Middle& m, Planes& q) {
    const Word z0 = m.t44 & y.y15, z1 = m.t37 & y.y6, z2 = m.t33 & y.x7, z3 = m.t43 & y.y16;
    const Word z4 = m.t40 & y.y1, z5 = m.t29 & y.y7, z6 = m.t42 & y.y11, z7 = m.t45 & y.y17;
    const Word z8 = m.t41 & y.y10, z9 = m.t44 & y.y12, z10 = m.t37 & y.y3, z11 = m.t33 & y.y4;
    const Word z12 = m.t43 & y.y13, z13 = m.t40 & y.y5, z14 = m.t29 & y.y2, z15 = m.t42 & y.y9;
    const Word z16 = m.t45 & y.y14, z17 = m.t41 & y.y8;
    const Word t46 = z15 ^ z16, t48 = z5 ^ z13, t53 = z0 ^ z3, t54 = z6 ^ z7;
    const Word t57 = z2 ^ z12 ^ t53, t58 = z4 ^ t46, t59 = z3 ^ t54, t60 = t46 ^ t57;
    const Word t62 = z7 ^ z8 ^ t58, t63 = z9 ^ z10 ^ t58, t64 = z4 ^ t59;
    const Word t65 = z14 ^ t57 ^ t62, t66 = z1 ^ t63;
    const Word s3 = t53 ^ t66;
    q[7] = t59 ^ t63;
    q[6] = t64 ^ ~s3;
    q[5] = z16 ^ z17 ^ ~(t64 ^ t65);
    q[4] = s3;
    q[3] = z2 ^ z5 ^ t66;
    q[2] = z10 ^ z11 ^ t65;
    q[1] = z12 ^ t48 ^ ~t62;
    q[0] = t48 ^ ~t60;
}

// The inverse of the S-box's affine map, between two complements of its constant 0x63:
// what turns the circuit for the S-box into one for its inverse.
void undoAffine(Planes& q) {
    const Planes x = {~q[0], ~q[1], q[2], q[3], q[4], ~q[5], ~q[6], q[7]};
    for (std::size_t i = 0; i < 8; ++i)
        q[i] = x[(i + 2) % 8] ^ x[(i + 5) % 8] ^ x[(i + 7) % 8];
}

}  // namespace

void aesSubBytes(Planes& q) {
    const Top y = topLayer(q);
    bottomLayer(y, middleLayer(y), q);
}

void aesInverseSubBytes(Planes& q) {
    undoAffine(q);
    aesSubBytes(q);
    undoAffine(q);
}

}  // namespace vdx_crypto
