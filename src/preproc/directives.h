// Directives and conditional inclusion.
#pragma once
