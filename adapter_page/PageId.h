#pragma once

/// The ids of the wizard's pages, in the order in which they are shown.
enum PageId : int { IntroductionPageId, AdapterPageId, ConclusionPageId };
