#pragma once

#import <Foundation/NSObject.h>
#import <Foundation/NSValues.h>

#import <Foundation/NSFiles.h>
#import <Foundation/NSURLSession.h>
