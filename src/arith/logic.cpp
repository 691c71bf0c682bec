// vrnAnd, vrnOr, vrnXor, vrnAndS, vrnOrS, vrnXorS and vrnNot: bitwise
// operations of two images, or of an image and a constant, in depths 1U, 8U,
// 8S, 16U, 16S and 32S; 32F is refused once the masks are merged.  Kernels
// come by depth class (1 bit, 8, 16, 32), since signed and unsigned samples
// share them.  The constant form runs a flat run itself, over the whole
// buffers as bytes against the replicated constant; vrnNot is vrnXorS with
// all bits set and reports under that name.
#include "arith/logic_rules.h"
#include "core/bit_kernels.h"
#include "core/kernels.h"
#include "core/report.h"

using namespace vrn;

namespace {

constexpr const char* kNo32F = "This function does not support depth 32F";

template <class Op>
void twoImages(const char* func, VrnImage* srcA, VrnImage* srcB, VrnImage* dst) {
  Frame frame(func);
  if (!frame.prepare(srcA, srcB, dst)) return;
  const ByteRowFn packed = PackedLogic<Op>::bytes();
  auto typed = [&]<class T>() {
    using Rule = LogicRule<T, Op>;
    frame.run(&plainKernel<Rule>, &maskedKernel<Rule>, &packed);
  };
  switch (frame.depth()) {
    case kD1U:
      frame.run(&bitPlainKernel<BitLogicRule<Op>>, &bitMaskedKernel<BitLogicRule<Op>>, &packed);
      break;
    case kD8U:
    case kD8S: typed.template operator()<uint8_t>(); break;
    case kD16U:
    case kD16S: typed.template operator()<uint16_t>(); break;
    case kD32S: typed.template operator()<uint32_t>(); break;
    default: VRN_REPORT(VRN_StsBadArg, func, kNo32F); break;
  }
}

template <class Op>
void withConstant(const char* func, VrnImage* src, VrnImage* dst, unsigned value) {
  Frame frame(func);
  if (!frame.prepare(src, dst)) return;
  if (frame.depth() == kD32F) {
    VRN_REPORT(VRN_StsBadArg, func, kNo32F);
    return;
  }
  const LogicConstant constant{replicateConstant(dst->depth, value), PackedLogic<Op>::word()};
  // The flat run: the whole of both buffers as one row of bytes.
  if (!frame.masked() && !src->tileInfo && !dst->tileInfo &&
      isFlatRun(src, dst, nullptr, frame.args().anyAlpha)) {
    constant.packed(reinterpret_cast<const uint8_t*>(src->imageData),
                    reinterpret_cast<uint8_t*>(dst->imageData),
                    static_cast<size_t>(src->imageSize), constant.word);
    return;
  }
  auto typed = [&]<class T>() {
    using Rule = LogicConstRule<T, Op>;
    frame.run(&plainKernel<Rule>, &maskedKernel<Rule>, &constant);
  };
  switch (frame.depth()) {
    case kD1U:
      frame.run(&bitPlainKernel<BitLogicConstRule<Op>>, &bitMaskedKernel<BitLogicConstRule<Op>>,
                &constant);
      break;
    case kD8U:
    case kD8S: typed.template operator()<uint8_t>(); break;
    case kD16U:
    case kD16S: typed.template operator()<uint16_t>(); break;
    default: typed.template operator()<uint32_t>(); break;
  }
}

}  // namespace

extern "C" {

VRN_API void vrnAnd(VrnImage* srcImageA, VrnImage* srcImageB, VrnImage* dstImage) {
  twoImages<AndOp>("vrnAnd", srcImageA, srcImageB, dstImage);
}

VRN_API void vrnOr(VrnImage* srcImageA, VrnImage* srcImageB, VrnImage* dstImage) {
  twoImages<OrOp>("vrnOr", srcImageA, srcImageB, dstImage);
}

VRN_API void vrnXor(VrnImage* srcImageA, VrnImage* srcImageB, VrnImage* dstImage) {
  twoImages<XorOp>("vrnXor", srcImageA, srcImageB, dstImage);
}

VRN_API void vrnAndS(VrnImage* srcImage, VrnImage* dstImage, unsigned int value) {
  withConstant<AndOp>("vrnAndS", srcImage, dstImage, value);
}

VRN_API void vrnOrS(VrnImage* srcImage, VrnImage* dstImage, unsigned int value) {
  withConstant<OrOp>("vrnOrS", srcImage, dstImage, value);
}

VRN_API void vrnXorS(VrnImage* srcImage, VrnImage* dstImage, unsigned int value) {
  withConstant<XorOp>("vrnXorS", srcImage, dstImage, value);
}

VRN_API void vrnNot(VrnImage* srcImage, VrnImage* dstImage) {
  vrnXorS(srcImage, dstImage, 0xFFFFFFFFu);
}

}  // extern "C"
