// What each object of the library asks of the processor. Whatever runs before the level is chosen, and every
// kernel of a lower level, must do without the instructions of a higher one: a lone leaked one ends the
// program on an older machine.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>

#include "support/Paths.h"
#include "support/Shell.h"

namespace mlh {

namespace {

// In the order of the processors that brought them.
enum Extension { kBaseline, kSSE3, kSSE42, kAVX, kFMA, kBeyond };

bool Matches(const std::string& text, const char* pattern) {
    static std::map<const char*, std::regex> compiled;
    const auto found = compiled.try_emplace(pattern, pattern).first;
    return std::regex_match(text, found->second);
}

// The instructions of AVX on floating-point values, of 16 and 32 bytes.
constexpr const char* kAvxFloats =
    "v(add|sub|mul|div|min|max|sqrt)[ps][sd]|v(addsub|hadd|hsub|and|andn|or|xor|shuf|unpckl|unpckh|blend|"
    "blendv|"
    "permil|test|maskmov|movmsk|mova|movu|movnt)p[sd]|v(rcp|rsqrt)[ps]s|vround[ps][sd]|vdpp[sd]|"
    "vcmp[a-z_]*[ps][sd]|vu?comis[sd]|v(mov|movl|movh)[ps][sd]|vmov(hl|lh)ps|vmov(sl|sh|d)dup|vinsertps|"
    "vextractps|vcvt(dq2p[sd]|p[sd]2dq|tp[sd]2dq|p[sd]2p[sd][xy]?|tp[sd]2dq[xy]?|pd2dq[xy]?|s[sd]2s[sd]|"
    "t?s[sd]2si[lq]?|si2s[sd][lq]?)|vbroadcast(s[sd]|f128)|v(extract|insert|perm2)f128|vzero(all|upper)|"
    "v(ld|st)mxcsr|vlddqu|vmovdq[au]|vmovntdq|vptest";

// Those on integers, of 16 bytes alone.
constexpr const char* kAvxIntegers =
    "vp(add|sub)(u?s)?[bw]|vp(add|sub)[dq]|vpmull[wd]|vpmulhu?w|vpmulhrsw|vpmuludq|vpmuldq|vpmadd(wd|ubsw)|"
    "vp(and|andn|or|xor)|vpcmp(eq|gt)[bwdq]|vpcmp[ei]str[im]|vp(max|min)[su][bwd]|vpavg[bw]|vpsadbw|vmpsadbw|"
    "vpabs[bwd]|vpsign[bwd]|vph(add|sub)(w|d|sw)|vphminposuw|vps(ll|rl)[wdq]|vpsra[wd]|vps(ll|rl)dq|"
    "vpack[su]s(wb|dw)|vpunpck[lh](bw|wd|dq|qdq)|vpshuf(b|d|lw|hw)|vpalignr|vpblendw|vpblendvb|"
    "vpmov[sz]x(b[wdq]|w[dq]|dq)|vpmovmskb|vpextr[bwdq]|vpinsr[bwdq]|vmov[dq]|vmaskmovdqu|vmovntdqa";

Extension ExtensionOf(const std::string& mnemonic, const std::string& operands) {
    if (mnemonic[0] == 'v') {
        // Masks, and registers that only the longest vectors' encoding can name.
        if (Matches(operands, ".*(%zmm|\\{%k|%k[0-7]|%[xy]mm(1[6-9]|2[0-9]|3[01])).*")) {
            return kBeyond;
        }
        if (Matches(mnemonic, "vf(n?m(add|sub)|maddsub|msubadd)(132|213|231)[ps][sd]")) {
            return kFMA;
        }
        // From a register, and not from memory, values are broadcast by AVX2 only.
        if (Matches(mnemonic, "vbroadcasts[sd]") && Matches(operands, "\\s*%xmm.*")) {
            return kBeyond;
        }
        if (Matches(mnemonic, kAvxFloats)) {
            return kAVX;
        }
        const bool wide = operands.find("%ymm") != std::string::npos;
        // Whatever else there is on these registers came later: AVX2, with new instructions on 16 bytes too.
        return !wide && Matches(mnemonic, kAvxIntegers) ? kAVX : kBeyond;
    }
    if (Matches(mnemonic, "addsubp[sd]|h(add|sub)p[sd]|mov(sl|sh|d)dup|lddqu|fisttpl?l?")) {
        return kSSE3;
    }
    if (Matches(mnemonic,
                "pshufb|palignr|pabs[bwd]|ph(add|sub).*|pmaddubsw|pmulhrsw|psign[bwd]|p?blend.*|dpp[sd]|"
                "extractps|"
                "insertps|movntdqa|mpsadbw|packusdw|pcmp(eq|gt)q|pextr[bdq]|pinsr[bdq]|phminposuw|p(max|min)("
                "sb|sd|uw|ud)|"
                "pmov[sz]x.*|pmuldq|pmulld|ptest|round[sp][sd]|crc32.*|pcmp[ei]str.*")) {
        return kSSE42;
    }
    // Features that the choice of a level does not ask for. (tzcnt is left out: the compiler writes it where
    // bsf does as well, and older processors take it for bsf.)
    if (Matches(mnemonic,
                "popcnt.?|lzcnt.?|andn.?|bextr.?|bls(i|r|msk).?|bzhi.?|pdep.?|pext.?|mulx.?|rorx.?|s(ar|hl|"
                "hr)x.?|"
                "ad[co]x.?|movbe.?|aes.*|pclmul.*|sha(1|256).*")) {
        return kBeyond;
    }
    return kBaseline;
}

// How often each extension is asked for by a file.
std::map<Extension, int> Count(const std::string& file) {
    const ShellResult listing = RunShell(MLH_OBJDUMP " -d -w --no-show-raw-insn '" + file + "'");
    EXPECT_EQ(listing.status, 0) << listing.output;
    std::map<Extension, int> counts;
    std::istringstream lines(listing.output);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t tab = line.find('\t');
        if (tab == std::string::npos) {
            continue;
        }
        std::istringstream words(line.substr(tab + 1));
        std::string mnemonic, operands;
        do {
            words >> mnemonic;
        } while (Matches(mnemonic, "rep.*|lock|bnd|notrack|data16|cs|ds|addr32"));
        std::getline(words, operands);
        if (!mnemonic.empty()) {
            ++counts[ExtensionOf(mnemonic, operands)];
        }
    }
    return counts;
}

// The newest extension that an object of a level may use; "6fma" is level 6 where the processor multiplies
// and adds in one step.
Extension NewestOf(const std::string& level) {
    if (level == "6fma") {
        return kFMA;
    }
    if (level == "6") {
        return kAVX;
    }
    if (level == "5") {
        return kSSE42;
    }
    if (level == "4") {
        return kSSE3;
    }
    return kBaseline;
}

TEST(Instructions, AreToldApart) {
    EXPECT_EQ(ExtensionOf("mulps", "%xmm0,%xmm1"), kBaseline);
    EXPECT_EQ(ExtensionOf("tzcnt", "%eax,%eax"), kBaseline);
    EXPECT_EQ(ExtensionOf("movshdup", "%xmm0,%xmm1"), kSSE3);
    EXPECT_EQ(ExtensionOf("roundps", "$0x1,%xmm0,%xmm1"), kSSE42);
    EXPECT_EQ(ExtensionOf("vmulss", "%xmm0,%xmm1,%xmm2"), kAVX);
    EXPECT_EQ(ExtensionOf("vperm2f128", "$0x1,%ymm0,%ymm1,%ymm2"), kAVX);
    EXPECT_EQ(ExtensionOf("vfnmadd231ps", "%ymm0,%ymm1,%ymm2"), kFMA);
    EXPECT_EQ(ExtensionOf("vpaddd", "%xmm0,%xmm1,%xmm2"), kAVX);
    EXPECT_EQ(ExtensionOf("vpaddd", "%ymm0,%ymm1,%ymm2"), kBeyond);
    EXPECT_EQ(ExtensionOf("vbroadcastss", "(%rax),%ymm0"), kAVX);
    EXPECT_EQ(ExtensionOf("vbroadcastss", "%xmm0,%xmm1"), kBeyond);
    EXPECT_EQ(ExtensionOf("vcvtps2pd", "(%rax),%ymm0"), kAVX);
    for (const char* avx2OnSixteenBytes :
         {"vpbroadcastb", "vpbroadcastd", "vpbroadcastq", "vpsllvd", "vpsllvq", "vpsrlvd", "vpsravd",
          "vpblendd", "vpmaskmovd", "vpmaskmovq", "vgatherdps", "vgatherqpd", "vpgatherdd", "vextracti128",
          "vcvtph2ps"}) {
        EXPECT_EQ(ExtensionOf(avx2OnSixteenBytes, "%xmm0,%xmm1,%xmm2"), kBeyond) << avx2OnSixteenBytes;
    }
    for (const char* avx2 : {"vpermd", "vpermps", "vpermq", "vpermpd", "vperm2i128", "vpmovmskb", "vpxor"}) {
        EXPECT_EQ(ExtensionOf(avx2, "%ymm0,%ymm1,%ymm2"), kBeyond) << avx2;
    }
    EXPECT_EQ(ExtensionOf("vaddps", "%xmm17,%xmm1,%xmm2"), kBeyond);
    EXPECT_EQ(ExtensionOf("vpternlogd", "$0xff,%xmm0,%xmm1,%xmm2"), kBeyond);
    EXPECT_EQ(ExtensionOf("vmulps", "%zmm0,%zmm1,%zmm2"), kBeyond);
    EXPECT_EQ(ExtensionOf("popcnt", "%eax,%eax"), kBeyond);
}

TEST(Instructions, EveryObjectKeepsToItsLevel) {
    std::ifstream list(BinaryDir() + "/objects-by-level.txt");
    std::map<std::string, std::map<Extension, int>> ofLevel;
    int wide = 0;
    for (std::string level, object; list >> level >> object;) {
        for (const auto& [extension, count] : Count(object)) {
            EXPECT_LE(extension, NewestOf(level)) << object << ", " << count << " times";
            ofLevel[level][extension] += count;
            if (extension >= kAVX) {
                wide += count;
            }
        }
    }
    EXPECT_GT(ofLevel["0"][kBaseline], 10000);
    EXPECT_GT(ofLevel["3"][kBaseline], 1000);
    EXPECT_GT(ofLevel["4"][kBaseline], 1000);
    EXPECT_GT(ofLevel["5"][kSSE42], 0);
    EXPECT_GT(ofLevel["6"][kAVX], 0);
    EXPECT_GT(ofLevel["6fma"][kFMA], 0);

    // The library holds the wide instructions of these objects and no others.
    std::map<Extension, int> library = Count(MLH_LIBRARY);
    EXPECT_EQ(library[kAVX] + library[kFMA], wide);
    EXPECT_EQ(library[kBeyond], 0);
}

}  // namespace

}  // namespace mlh
