#include <gtest/gtest.h>

#include "vrn.h"

TEST(Smoke, CreateAndAdd) {
  char m[4] = {'G', 'R', 'A', 'Y'}, s[4] = {'G', 0, 0, 0};
  VrnImage* a = vrnCreateImageHeader(1, 0, VRN_DEPTH_8U, m, s, 0, 0, 4, 40, 3, nullptr, nullptr, nullptr, nullptr);
  ASSERT_NE(a, nullptr);
  vrnAllocateImage(a, 1, 200);
  vrnAdd(a, a, a);
  EXPECT_EQ(static_cast<unsigned char>(a->imageData[0]), 255);
  vrnDeallocate(a, VRN_FREE_HEADER | VRN_FREE_DATA);
}
