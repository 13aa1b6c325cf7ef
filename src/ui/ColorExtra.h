#pragma once

#include <QBrush>
#include <QColor>
#include <QColorSpace>
#include <QString>

#include <optional>

// The interface's palette: the product's named colours, colours from hexadecimal
// strings (cached) and colours from components, all in sRGB.
//
// "No colour" is std::nullopt. Every call builds a new value except
// colorWithHexString(), which serves repeated strings from a process-wide cache
// (created once, guarded by a mutex: any thread may use it). The pattern colours
// (grayTextureColor and the colours made from it) are brushes tiling an image.
// Nothing here needs a GUI application.
class ColorExtra
{
public:
    static QColorSpace currentColorSpace();
    static QColor properColorWithRed(float red, float green, float blue, float alpha);

    // The colour for a hexadecimal string (see colorWithHexStringNotCacheable), served
    // from the cache when the exact same string was asked before; nothing for a null
    // string. Throws InvalidColorValue as the uncached form does (nothing is cached then).
    static std::optional<QColor> colorWithHexString(const QString &string);
    // "#" signs are dropped and the rest read as RGB, ARGB, RRGGBB or AARRGGBB by its
    // length; any other length throws InvalidColorValue.
    static QColor colorWithHexStringNotCacheable(const QString &string);
    // The component written at [start, start + length) of the string, as 0 to 1: a
    // single digit counts twice (F is FF); reading stops at the first non-hex digit.
    static double colorComponentFrom(const QString &string, qsizetype start, qsizetype length);
    // How many colorWithHexString() calls the cache answered so far (for checks).
    static quint64 hexCacheHits();

    static QColor welcomeBackgroundColor();
    static QColor welcomeTextColor();
    static QColor welcomeButtonTextColor();
    static QColor commonTextColor();
    static QColor commonBackgroundColor();
    static QColor commonTableviewBackgroundColor();
    static QColor bottomBarColor();
    static QColor bottomBarSeparatorColor();
    static QColor toolbarBackgroundColor();
    static QColor toolbarTitleTextColor();
    static QBrush grayTextureColor();
    static QColor applicationsSeparatorColor();
    static QColor appsListTableHeaderColor();
    static QBrush appsListGroupColor();
    static QColor appsListCellColor();
    static QColor appsListGroupItemCellColor();
    static QColor appsListCellSeparatorColor();
    static QColor appsListCellSelectedSeparatorColor();
    static QColor appsListTableFooterColor();
    static QColor appsListTableHeaderBottomSeparatorColor();
    static QColor appsListTableHeaderTopSeparatorColor();
    static QColor appsListSelectedCellBordersColor();
    static QColor appsListExtensionSelectedBordersColor();
    static QColor dependenciesBackgroundColor();
    static QColor dependenciesTableHeaderColor();
    static QBrush dependenciesGroupCellColor();
    static QColor dependenciesCellColor();
    static QColor dependenciesCellSeparatorColor();
    static QColor dependenciesSelectedCellColor();
    static QColor dragAndDropHintBackgroundColor();
    static QColor selectedFilesBackgroundColor();
    static QColor selectedFilesBottomBarColor();
    static QColor selectedFilesSeparatorColor();
    static QColor selectedFilesCellTextColor();
    static QColor selectedFilesHeaderCellTextColor();
    static QColor categoryBackgroundColor();
    static QColor toolbarTopBackgroundColor();
    static QColor toolbarTopShadowColor();
    static QColor toolbarShadowSeparatorColor();
    static QColor toolbarBottomBackgroundColor();
    static QColor toolbarBottomShadowColor();
    static QColor appInfoBarTopSeparatorColor();
    static QColor appInfoBarBackgroundColor();
    // Deliberately no colour at all.
    static std::optional<QColor> appInfoBarBottomSeparatorColor();
    static QColor preferencesTableViewBg();
};
