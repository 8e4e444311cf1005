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

Extension ExtensionOf(const std::string& mnemonic, const std::string& operands) {
    if (mnemonic[0] == 'v') {
        if (operands.find("%zmm") != std::string::npos || operands.find("{%k") != std::string::npos)
            return kBeyond;
        if (Matches(mnemonic, "vfn?m(add|sub).*")) return kFMA;
        const bool wide = operands.find("%ymm") != std::string::npos;
        const bool wideInteger = wide && Matches(mnemonic, "vp.*|vmpsadbw|vmovntdqa") &&
                                 !Matches(mnemonic, "vptest|vperm2f128|vpermil.*");
        if (wideInteger ||
            Matches(mnemonic, "v(extract|insert|broadcast)i128|vp?gather.*|vps[lr][la]v.*|vcvtp[hs]2p[hs]"))
            return kBeyond;
        return kAVX;
    }
    if (Matches(mnemonic, "addsubp[sd]|h(add|sub)p[sd]|mov(sl|sh|d)dup|lddqu|fisttpl?l?")) return kSSE3;
    if (Matches(mnemonic,
                "pshufb|palignr|pabs[bwd]|ph(add|sub).*|pmaddubsw|pmulhrsw|psign[bwd]|p?blend.*|dpp[sd]|"
                "extractps|"
                "insertps|movntdqa|mpsadbw|packusdw|pcmp(eq|gt)q|pextr[bdq]|pinsr[bdq]|phminposuw|p(max|min)("
                "sb|sd|uw|ud)|"
                "pmov[sz]x.*|pmuldq|pmulld|ptest|round[sp][sd]|crc32.*|pcmp[ei]str.*"))
        return kSSE42;
    // Features that the choice of a level does not ask for. (tzcnt is left out: the compiler writes it where
    // bsf does as well, and older processors take it for bsf.)
    if (Matches(mnemonic,
                "popcnt.?|lzcnt.?|andn.?|bextr.?|bls(i|r|msk).?|bzhi.?|pdep.?|pext.?|mulx.?|rorx.?|s(ar|hl|"
                "hr)x.?|"
                "ad[co]x.?|movbe.?|aes.*|pclmul.*|sha(1|256).*"))
        return kBeyond;
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
        if (tab == std::string::npos) continue;
        std::istringstream words(line.substr(tab + 1));
        std::string mnemonic, operands;
        do {
            words >> mnemonic;
        } while (Matches(mnemonic, "rep.*|lock|bnd|notrack|data16|cs|ds|addr32"));
        std::getline(words, operands);
        if (!mnemonic.empty()) ++counts[ExtensionOf(mnemonic, operands)];
    }
    return counts;
}

// The newest extension that an object of a level may use; "6fma" is level 6 where the processor multiplies
// and adds in one step.
Extension NewestOf(const std::string& level) {
    if (level == "6fma") return kFMA;
    if (level == "6") return kAVX;
    if (level == "5") return kSSE42;
    if (level == "4") return kSSE3;
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
    EXPECT_EQ(ExtensionOf("vpaddd", "%ymm0,%ymm1,%ymm2"), kBeyond);
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
            if (extension >= kAVX) wide += count;
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
