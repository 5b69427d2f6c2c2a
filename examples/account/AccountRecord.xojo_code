#tag Class
Protected Class AccountRecord
	#tag Note, Name = About
		The host's own part of an account. To Python it is an object without any members.
	#tag EndNote


	#tag Method, Flags = &h0
		Sub Constructor(owner As String)
		  Self.Owner = owner
		End Sub
	#tag EndMethod


	#tag Property, Flags = &h0
		Owner As String
	#tag EndProperty


	#tag Property, Flags = &h0
		Balance As Integer ' cents
	#tag EndProperty


	#tag ViewBehavior
	#tag EndViewBehavior
End Class
#tag EndClass
