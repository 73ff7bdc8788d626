// The DH object is what the function hands out, deprecated or not.
#define OPENSSL_SUPPRESS_DEPRECATED

#include <openssl/bn.h>
#include <openssl/dh.h>
#include <openssl/objects.h>

#include "testlib/Testlib.h"

namespace {

using Group = std::unique_ptr<DH, decltype(&DH_free)>;
using Number = std::unique_ptr<BIGNUM, decltype(&BN_free)>;

TEST(DhGroup, SafePrimeAndGeneratorTwo) {
    const Group group(get_dh2048(), DH_free);
    ASSERT_NE(group, nullptr);
    const BIGNUM* p = DH_get0_p(group.get());
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(BN_num_bits(p), 2048);
    EXPECT_TRUE(BN_is_word(DH_get0_g(group.get()), 2));
    int faults = -1;
    EXPECT_EQ(DH_check(group.get(), &faults), 1);
    EXPECT_EQ(faults, 0);
    const Number half(BN_dup(p), BN_free);
    BN_rshift1(half.get(), half.get());
    EXPECT_EQ(BN_check_prime(p, nullptr, nullptr), 1);
    EXPECT_EQ(BN_check_prime(half.get(), nullptr, nullptr), 1);
}

TEST(DhGroup, NoneOfThePublishedGroups) {
    const Group group(get_dh2048(), DH_free);
    const BIGNUM* p = DH_get0_p(group.get());
    const std::pair<const char*, Group> published[] = {{"RFC 7919", Group(DH_new_by_nid(NID_ffdhe2048), DH_free)},
                                                       {"RFC 3526", Group(DH_new_by_nid(NID_modp_2048), DH_free)},
                                                       {"RFC 5114, 224", Group(DH_get_2048_224(), DH_free)},
                                                       {"RFC 5114, 256", Group(DH_get_2048_256(), DH_free)}};
    for (const auto& [name, other] : published) {
        ASSERT_NE(other, nullptr) << name;
        EXPECT_NE(BN_cmp(p, DH_get0_p(other.get())), 0) << name;
    }
    EXPECT_EQ(DH_get_nid(group.get()), NID_undef) << "OpenSSL recognises no named group";
}

TEST(DhGroup, EachCallGivesAnObjectOfItsOwn) {
    const Group one(get_dh2048(), DH_free);
    const Group two(get_dh2048(), DH_free);
    EXPECT_NE(DH_get0_p(one.get()), DH_get0_p(two.get()));
    EXPECT_EQ(DH_generate_key(one.get()), 1) << "usable for an exchange";
}

} // namespace
