#tag BuildAutomation
			Begin BuildStepList Linux
				Begin BuildProjectStep Build
				End
				Begin CopyFilesBuildStep CopyPython
					AppliesTo = 0
					Architecture = 0
					Target = 0
					Destination = 1
					Subdirectory = 
					FolderItem = dGV4dF9hbmFseXNpcy5weQ==
				End
				Begin CopyFilesBuildStep CopyText
					AppliesTo = 0
					Architecture = 0
					Target = 0
					Destination = 1
					Subdirectory = 
					FolderItem = ZGVjbGFyYXRpb24udHh0
				End
			End
			Begin BuildStepList Mac OS X
				Begin BuildProjectStep Build
				End
				Begin CopyFilesBuildStep CopyPython
					AppliesTo = 0
					Architecture = 0
					Target = 0
					Destination = 1
					Subdirectory = 
					FolderItem = dGV4dF9hbmFseXNpcy5weQ==
				End
				Begin CopyFilesBuildStep CopyText
					AppliesTo = 0
					Architecture = 0
					Target = 0
					Destination = 1
					Subdirectory = 
					FolderItem = ZGVjbGFyYXRpb24udHh0
				End
			End
			Begin BuildStepList Windows
				Begin BuildProjectStep Build
				End
				Begin CopyFilesBuildStep CopyPython
					AppliesTo = 0
					Architecture = 0
					Target = 0
					Destination = 1
					Subdirectory = 
					FolderItem = dGV4dF9hbmFseXNpcy5weQ==
				End
				Begin CopyFilesBuildStep CopyText
					AppliesTo = 0
					Architecture = 0
					Target = 0
					Destination = 1
					Subdirectory = 
					FolderItem = ZGVjbGFyYXRpb24udHh0
				End
			End
#tag EndBuildAutomation
