#pragma once

#include <Qt>

// The adapter selection page's objects and roles, as the tests and benchmarks know them.

inline constexpr auto pageContents = "contents";
inline constexpr auto loadingFrame = "loading_frame";
inline constexpr auto loadingIcon = "loadingIcon_lbl";
inline constexpr auto loadingText = "loadingInfotext_lbl";
inline constexpr auto errorLabel = "errorText";

inline constexpr auto availableList = "availableAdaptersList";
inline constexpr auto singleList = "singleLinkList";
inline constexpr auto dualList = "dualLinkList";

inline constexpr auto createSingleLink = "createSingleLink";
inline constexpr auto createDualLink = "createDualLink";
inline constexpr auto removeSingleLink = "removeSingleLink";
inline constexpr auto removeDualLink = "removeDualLink";
inline constexpr auto clearSingleLink = "clearSingleLink";
inline constexpr auto clearDualLink = "clearDualLink";

inline constexpr int deviceIdRole = Qt::UserRole + 1;
inline constexpr int descriptionRole = Qt::UserRole + 2;
