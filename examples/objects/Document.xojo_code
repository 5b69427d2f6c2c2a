#tag Class
Protected Class Document
	#tag Method, Flags = &h0
		Sub Constructor(title As String, pages As Integer)
		  Self.Title = title
		  Self.Pages = pages
		End Sub
	#tag EndMethod


	#tag Method, Flags = &h0
		Sub Destructor()
		  Print "  (" + Title + " is gone)"
		End Sub
	#tag EndMethod


	#tag Property, Flags = &h0
		Title As String
	#tag EndProperty


	#tag Property, Flags = &h0
		Pages As Integer
	#tag EndProperty


	#tag ViewBehavior
	#tag EndViewBehavior
End Class
#tag EndClass
