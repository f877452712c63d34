#import <FileProvider/FileProvider.h>

API_AVAILABLE(macos(26.0))
@interface TovrinTomorrow : NSObject
@end

Class tomorrow() { return [TovrinTomorrow class]; }
