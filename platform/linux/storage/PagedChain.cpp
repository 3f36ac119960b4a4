#include "PagedChain.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace lum
{
PagedChain::Page& PagedChain::PageAt(ULONG ulPage)
{
    if (ulPage / kulInBlock >= mBlocks.size()) mBlocks.resize(ulPage / kulInBlock + 1);
    auto& pBlock = mBlocks[ulPage / kulInBlock];
    if (!pBlock) pBlock = std::make_unique<Block>();
    return (*pBlock)[ulPage % kulInBlock];
}

PagedChain::Page* PagedChain::Loaded(ULONG ulPage) const
{
    if (ulPage / kulInBlock >= mBlocks.size() || !mBlocks[ulPage / kulInBlock]) return nullptr;
    Page& page = (*mBlocks[ulPage / kulInBlock])[ulPage % kulInBlock];
    return page.pBytes ? &page : nullptr;
}

HRESULT PagedChain::Length(ULONG& ulSectors)
{
    const HRESULT hr = mChain.Length(ulSectors);
    ulSectors += mulPending;
    return hr;
}

HRESULT PagedChain::Load(ULONG ulPage, Page*& pPage)
{
    Chain::Run run; // looked for before anything is reserved for a place that does not exist
    HRESULT hr = mChain.Find(ulPage * PageSectors(), run);
    if (FAILED(hr)) return hr;

    std::unique_ptr<BYTE[]> pBytes(new BYTE[kulPageBytes]);
    ULONG ulSectors = 0;
    while (ulSectors < PageSectors())
    {
        if (FAILED(mChain.Find(ulPage * PageSectors() + ulSectors, run))) break; // what comes before can still be read
        const ULONG ulHere = std::min(run.ulCount, PageSectors() - ulSectors);
        hr = mFile.Read(run.ulSector, 0, &pBytes[ulSectors << mFile.Shift()], std::size_t{ulHere} << mFile.Shift());
        if (FAILED(hr)) return hr;
        ulSectors += ulHere;
    }
    pPage = &PageAt(ulPage);
    pPage->pBytes = std::move(pBytes);
    pPage->ulSectors = ulSectors;
    ++mulPages;
    return S_OK;
}

// The page with that place, which must be in the chain.
HRESULT PagedChain::Reach(ULONGLONG ullAt, Page*& pPage)
{
    if ((ullAt >> mFile.Shift()) > kulMaxSector) return STG_E_DOCFILECORRUPT;
    const ULONG ulPage = static_cast<ULONG>(ullAt / kulPageBytes);
    pPage = Loaded(ulPage);
    const HRESULT hr = pPage ? S_OK : Load(ulPage, pPage);
    if (FAILED(hr)) return hr;
    return ((ullAt % kulPageBytes) >> mFile.Shift()) < pPage->ulSectors ? S_OK : STG_E_DOCFILECORRUPT;
}

HRESULT PagedChain::Look(ULONGLONG ullAt, ULONG ulBytes, const BYTE*& pByte)
{
    Page* pPage = nullptr;
    const HRESULT hr = Reach(ullAt + ulBytes - 1, pPage);
    if (SUCCEEDED(hr)) pByte = pPage->pBytes.get() + ullAt % kulPageBytes;
    return hr;
}

HRESULT PagedChain::View(ULONGLONG ullAt, const BYTE*& pByte, ULONG& ulBytes)
{
    Page* pPage = nullptr;
    const HRESULT hr = Reach(ullAt, pPage);
    if (FAILED(hr)) return hr;
    const ULONG ulInside = static_cast<ULONG>(ullAt % kulPageBytes);
    pByte = pPage->pBytes.get() + ulInside;
    ulBytes = (pPage->ulSectors << mFile.Shift()) - ulInside;
    return S_OK;
}

HRESULT PagedChain::Change(ULONGLONG ullAt, ULONG ulBytes, BYTE*& pByte)
{
    Page* pPage = nullptr;
    const HRESULT hr = Reach(ullAt + ulBytes - 1, pPage);
    if (FAILED(hr)) return hr;
    const ULONG ulInside = static_cast<ULONG>(ullAt % kulPageBytes);
    const ULONG ulFirst = ulInside >> mFile.Shift(), ulLast = (ulInside + ulBytes - 1) >> mFile.Shift();
    MarkDirty(static_cast<ULONG>(ullAt / kulPageBytes), *pPage, ulFirst, ulLast - ulFirst + 1);
    pByte = pPage->pBytes.get() + ulInside;
    return S_OK;
}

void PagedChain::MarkDirty(ULONG ulPage, Page& page, ULONG ulFirst, ULONG ulCount)
{
    if (page.ulDirty == 0) mDirty.push_back(ulPage);
    page.ulDirty |= static_cast<std::uint32_t>(((1ull << ulCount) - 1) << ulFirst);
}

HRESULT PagedChain::Append(ULONG ulSectors, BYTE ubFill)
{
    ULONG ulLength = 0;
    HRESULT hr = Length(ulLength);
    Page* pPage = nullptr;
    const bool bInPage = ulLength % PageSectors() != 0; // the rest of a page that has begun
    if (SUCCEEDED(hr) && bInPage && !Loaded(ulLength / PageSectors())) hr = Load(ulLength / PageSectors(), pPage);
    if (FAILED(hr)) return hr;
    if (ulSectors > mTable.Limit() - ulLength) return STG_E_MEDIUMFULL;
    mulPending += ulSectors;

    for (const ULONG ulEnd = ulLength + ulSectors; ulLength < ulEnd;)
    {
        const ULONG ulPage = ulLength / PageSectors(), ulFirst = ulLength % PageSectors();
        const ULONG ulHere = std::min(ulEnd - ulLength, PageSectors() - ulFirst);
        Page& page = PageAt(ulPage);
        if (!page.pBytes)
        {
            page.pBytes.reset(new BYTE[kulPageBytes]);
            ++mulPages;
        }
        std::memset(&page.pBytes[ulFirst << mFile.Shift()], ubFill, std::size_t{ulHere} << mFile.Shift());
        page.ulSectors = ulFirst + ulHere;
        MarkDirty(ulPage, page, ulFirst, ulHere);
        ulLength += ulHere;
    }
    return S_OK;
}

HRESULT PagedChain::Cut(ULONG ulKeep)
{
    ULONG ulLength = 0;
    HRESULT hr = Length(ulLength);
    if (SUCCEEDED(hr)) hr = mChain.Cut(ulKeep);
    if (FAILED(hr) || ulKeep >= ulLength) return hr;
    mulPending -= std::min(mulPending, ulLength - ulKeep);

    for (ULONG ulPage = ulKeep / PageSectors(); ulPage * PageSectors() < ulLength; ++ulPage)
    {
        Page* pPage = Loaded(ulPage);
        if (!pPage) continue;
        const ULONG ulFirst = ulPage * PageSectors();
        pPage->ulSectors = ulKeep > ulFirst ? ulKeep - ulFirst : 0;
        pPage->ulDirty &= static_cast<std::uint32_t>((1ull << pPage->ulSectors) - 1);
        if (pPage->ulSectors > 0) continue;
        *pPage = Page();
        --mulPages;
    }
    return S_OK;
}

HRESULT PagedChain::Flush()
{
    if (mulPending > 0)
    {
        const HRESULT hr = mChain.Append(mulPending);
        if (FAILED(hr)) return hr;
        mulPending = 0;
    }
    std::sort(mDirty.begin(), mDirty.end());
    for (std::size_t i = 0; i < mDirty.size(); ++i)
    {
        Page* pPage = Loaded(mDirty[i]);
        const HRESULT hr = pPage ? WritePage(mDirty[i], *pPage) : S_OK;
        if (FAILED(hr))
        {
            mDirty.erase(mDirty.begin(), mDirty.begin() + static_cast<std::ptrdiff_t>(i));
            return hr;
        }
    }
    mDirty.clear();
    return S_OK;
}

HRESULT PagedChain::WritePage(ULONG ulPage, Page& page)
{
    while (page.ulDirty != 0)
    {
        const ULONG ulFirst = static_cast<ULONG>(std::countr_zero(page.ulDirty));
        const ULONG ulDirty = static_cast<ULONG>(std::countr_one(page.ulDirty >> ulFirst));
        HRESULT hr = mChain.MakeFresh(ulPage * PageSectors() + ulFirst, ulDirty);
        Chain::Run run;
        if (SUCCEEDED(hr)) hr = mChain.Find(ulPage * PageSectors() + ulFirst, run);
        const ULONG ulHere = std::min(run.ulCount, ulDirty);
        if (SUCCEEDED(hr))
            hr = mFile.Write(run.ulSector, 0, &page.pBytes[ulFirst << mFile.Shift()], std::size_t{ulHere} << mFile.Shift());
        if (FAILED(hr)) return hr;
        page.ulDirty &= ~static_cast<std::uint32_t>(((1ull << ulHere) - 1) << ulFirst);
    }
    return S_OK;
}

HRESULT PagedChain::Trim()
{
    if (mulPages < kulMostPages) return S_OK;
    const HRESULT hr = Flush();
    if (FAILED(hr)) return hr;
    mBlocks.clear();
    mulPages = 0;
    return S_OK;
}
} // namespace lum
